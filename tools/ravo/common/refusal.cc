#include "common/refusal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include "format/opened_file.h"
#include "format/read_exactly.h"
#include "format/uninterrupted.h"
#include "ravo_evutl.h"
#include "ravo_evutl_optional.h"
#include "ravo_evutl_status.h"
#include "ravo_file_generation.h"
#include "ravo_xml.h"
#include "ravo_xml_status.h"

namespace ravo::tool {
namespace {

struct free_memory {
  void operator()(void* memory) const { std::free(memory); }
};
constexpr long tail_size = 4;  // the pointer to the reference table
// The loader's code when all tables are good but the descriptions' text is not.
constexpr int descriptions_refused = 7;

template <class Table>
using owned = std::unique_ptr<Table, free_memory>;

// A refused file is never mapped: it may be one that is still being truncated.
class open_file {
 public:
  explicit open_file(const std::string& path) : fd(path.c_str()) {
    if (fd >= 0) length = static_cast<long>(uninterrupted::lseek(fd, 0, SEEK_END));
  }

  const opened_file fd;
  long length = 0;
};

/// The system refuses to read the file; the text is the message.
struct unreadable {
  std::string text;
};

// Must be called right after the operation that returned the status, since it uses errno.
void throw_if_unreadable(int status) {
  if (status == RAVO_TABLE_UNREADABLE) throw unreadable{text_of_unreadable(errno)};
  if (status == RAVO_TABLE_NO_MEMORY || status == RAVO_XML_NO_MEMORY) throw std::bad_alloc();
}

std::string refused(const char* table, int status) {
  throw_if_unreadable(status);
  return fmt::format("{}: {} (status {})", table, ravo_evutl_status_text(status), status);
}

// A description of the file beside the table's refusal; it often explains more.
std::string appearance(const open_file& file) {
  char head[256];
  const std::size_t size = std::min(sizeof head, static_cast<std::size_t>(file.length));
  if (!read_exactly(file.fd, 0, head, size)) throw unreadable{text_of_unreadable(errno)};
  const std::string_view begin(head, size);
  const std::string_view signature(RAVO_FILE_SIGNATURE_2010, sizeof RAVO_FILE_SIGNATURE_2010 - 1);
  const std::string_view older_signature(RAVO_FILE_SIGNATURE, sizeof RAVO_FILE_SIGNATURE - 1);
  if (begin.starts_with(signature) || begin.starts_with(older_signature))
    return "it begins like a raw file, so its end is missing or damaged: it was cut off, or is still being "
           "written";
  if (std::all_of(begin.begin(), begin.end(), [](char letter) {
        return static_cast<unsigned char>(letter) >= 0x80 || (letter >= ' ' && letter < 0x7f) ||
               std::strchr("\t\r\n\f", letter) != nullptr;
      }))
    return "it looks like a text, not like a raw file";
  return "it does not begin like a raw file of either generation";
}

// The operations of the table-access library that differ between the generations.
struct table_operations {
  decltype(&get_ravo_file_reference_table_m_2010) get_reference;
  decltype(&ravo_get_event_index_table_m_2010) get_index;
  bool (*is_dictionary_refused)(const open_file&, const ravo_file_reference_table_2010*, int*);
  decltype(&ravo_get_event_chan_pointers_table_m_2010) get_pointers;
  decltype(&ravo_get_env_index_dictionary_table_m_2010) get_environment;
  decltype(&ravo_get_chan_descr_table_m_2010) get_descriptions;
};

template <class Dictionary, auto get_dictionary>
bool is_dictionary_refused(const open_file& file, const ravo_file_reference_table_2010* reference,
                           int* status) {
  Dictionary* dictionary = nullptr;
  *status = get_dictionary(file.length, reference, file.fd, &dictionary);
  const owned<Dictionary> own(dictionary);
  return *status != 0;
}

constexpr table_operations current_operations{
    get_ravo_file_reference_table_m_2010,
    ravo_get_event_index_table_m_2010,
    is_dictionary_refused<ravo_chan_dictionary_table_2010, ravo_get_channel_dictionary_table_m_2010>,
    ravo_get_event_chan_pointers_table_m_2010,
    ravo_get_env_index_dictionary_table_m_2010,
    ravo_get_chan_descr_table_m_2010};
constexpr table_operations older_operations{
    get_ravo_file_reference_table_m,
    ravo_get_event_index_table_m,
    is_dictionary_refused<ravo_chan_dictionary_table, ravo_get_channel_dictionary_table_m>,
    ravo_get_event_chan_pointers_table_m,
    ravo_get_env_index_dictionary_table_m,
    ravo_get_chan_descr_table_m};

const table_operations& operations_for(const std::string& path) {
  auto generation = ravo_file_generation::current;
  throw_if_unreadable(ravo_get_file_generation(path.c_str(), &generation));
  return generation == ravo_file_generation::older ? older_operations : current_operations;
}

int read_reference_table(const open_file& file, const table_operations& library,
                         owned<ravo_file_reference_table_2010>& table) {
  unsigned char tail[tail_size];
  if (!read_exactly(file.fd, static_cast<std::uint64_t>(file.length) - tail_size, tail, tail_size))
    throw unreadable{text_of_unreadable(errno)};
  ravo_file_reference_table_2010* read = nullptr;
  const int status = library.get_reference(tail, tail_size, file.length, file.fd, &read);
  table.reset(read);
  return status;
}

// The refusal of the first refused table after the reference table; empty if there is none.
std::string first_refused_table(const open_file& file, const table_operations& library,
                                const ravo_file_reference_table_2010* reference) {
  ravo_event_index_table_2010* index = nullptr;
  int status = library.get_index(file.length, reference, file.fd, &index);
  const owned<ravo_event_index_table_2010> own_index(index);
  if (status != 0) return refused("event index table", status);
  if (library.is_dictionary_refused(file, reference, &status)) return refused("channel dictionary", status);
  // Rows that take too much memory to be loaded together are not a reason to refuse a file.
  constexpr unsigned long most_pointer_bytes = 32ul << 20;
  unsigned long pointer_bytes = 0;
  status = ravo_get_table_memory(file.length, reference, file.fd, RAVO_TABLE_OF_POINTERS, &pointer_bytes);
  if (status != 0) return refused("event channel pointer table", status);
  ravo_event_chan_pointers_table* pointers = nullptr;
  if (pointer_bytes <= most_pointer_bytes)
    status = library.get_pointers(file.length, reference, file.fd, &pointers);
  const owned<ravo_event_chan_pointers_table> own_pointers(pointers);
  if (status != 0) return refused("event channel pointer table", status);
  ravo_env_dictionary_table_2010* environment = nullptr;
  status = library.get_environment(file.length, reference, file.fd, &environment);
  const owned<ravo_env_dictionary_table_2010> own_environment(environment);
  if (status != 0) return refused("environment dictionary", status);
  ravo_xml_chan_descr_header_2010* xml = nullptr;
  status = library.get_descriptions(file.length, reference, file.fd, &xml);
  const owned<ravo_xml_chan_descr_header_2010> own_xml(xml);
  if (status != 0) return refused("channel descriptions", status);
  return "";
}

std::string refused_descriptions(const open_file& file, const table_operations& library,
                                 const ravo_file_reference_table_2010* reference) {
  ravo_xml_chan_descr_header_2010* xml = nullptr;
  throw_if_unreadable(library.get_descriptions(file.length, reference, file.fd, &xml));
  const owned<ravo_xml_chan_descr_header_2010> own_xml(xml);
  std::vector<chan_descr_2010*> descriptions;
  const int status = ravo_load_chan_descr(xml, &descriptions);
  ravo_free_chan_descr(&descriptions);
  throw_if_unreadable(status);
  return fmt::format("channel descriptions: {} (status {})", ravo_xml_status_text(status), status);
}

// Whether a basket, which begins with a marker and a length, lies within the file.
bool is_basket_in_file(const open_file& file, std::uint32_t offset) {
  constexpr std::size_t head_size = 8;
  const auto end = static_cast<std::uint64_t>(file.length);
  std::uint32_t head[2];
  if (offset > end || end - offset < head_size) return false;
  if (!read_exactly(file.fd, offset, head, head_size)) throw unreadable{text_of_unreadable(errno)};
  ravo_swap4(head, head, 2);
  return head[1] >= head_size && head[1] <= end - offset;
}

std::string first_refused_basket(const open_file& file, const ravo_file_reference_table_2010& reference) {
  if (!is_basket_in_file(file, reference.evhdb_ref))
    return "the event header basket does not lie in the file";
  if (!is_basket_in_file(file, reference.srvbb_ref))
    return "the server block basket does not lie in the file";
  return "";
}

}  // namespace

std::string text_of_unreadable(int error) {
  return fmt::format("cannot be read: {}; the file itself may be good", std::strerror(error));
}

std::string explain_refusal(const std::string& path, int code) try {
  const open_file file(path);
  if (file.fd < 0 || file.length < 0) return text_of_unreadable(errno);
  if (file.length < tail_size) return "too short for a raw file";
  const table_operations& library = operations_for(path);
  owned<ravo_file_reference_table_2010> reference;
  if (const int status = read_reference_table(file, library, reference); status != 0)
    return refused("not a readable raw file: file reference table", status) + "; " + appearance(file);
  const std::string table = first_refused_table(file, library, reference.get());
  if (!table.empty()) return "damaged: " + table;
  if (code == descriptions_refused) return refused_descriptions(file, library, reference.get());
  const std::string basket = first_refused_basket(file, *reference);
  if (!basket.empty()) return "damaged: " + basket;
  return "could not be read a moment ago, and can be now: try again";
} catch (const unreadable& of) {
  return of.text;
} catch (const std::bad_alloc&) {
  return "there is not enough memory to load it";
}

}  // namespace ravo::tool

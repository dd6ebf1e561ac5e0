// A whole file is the input: it is opened as a file of either generation and all of its tables are loaded,
// for all channels and for a list of them, and walked to their ends.
#include <string>
#include <vector>

#include "decode/table_operations.h"
#include "expect.h"
#include "input.h"
#include "memory_file.h"
#include "quiet.h"
#include "ravo_daq_read_chan.h"
#include "ravo_daq_read_chan_2010.h"
#include "ravo_file_generation.h"

namespace ravo::fuzz {
namespace {

template <class G>
void walk_index(typename G::file_tables& tables) {
  auto* entry = tables.get_eit_table()->event_index_entry();
  for (int i = 0; i < tables.get_eit_table()->nevent_types; ++i, entry = entry->next()) {
    table_operations<G>::print_event_index_entry(entry);
    touch(entry->event_info(), static_cast<std::size_t>(entry->length) * sizeof *entry->event_info());
  }
}

/// The names of the dictionary, and how many entries their rows should have.
template <class G>
std::vector<char*> walk_dictionary(typename G::file_tables& tables) {
  auto* const dictionary = tables.get_cdt_table();
  const auto count =
      (static_cast<std::size_t>(dictionary->length) - 8) / sizeof(typename G::dictionary_entry);
  std::vector<char*> names;
  for (std::size_t i = 0; i < count; ++i) {
    auto& channel = dictionary->channel_entry()[i];
    expect(channel.count >= 0 && channel.count <= tables.get_ecp_table()->maxev,
           "a channel's events fit its row");
    typename G::dictionary_entry* found = nullptr;
    expect(table_operations<G>::find_channel_by_name(dictionary, channel.chan_name, &found) >= 0 &&
               found != nullptr,
           "a channel of the dictionary is found by its name");
    names.push_back(channel.chan_name);
  }
  table_operations<G>::print_dictionary(dictionary);
  return names;
}

template <class G>
void walk_pointers(typename G::file_tables& tables, std::size_t rows) {
  const auto& table = *tables.get_ecp_table();
  touch(table.chptr(), rows * static_cast<std::size_t>(table.maxev) * sizeof *table.chptr());
}

template <class G>
void load(const std::string& path) {
  typename G::file_tables all(1);
  if (all.get_all_tables(path.c_str(), 1, nullptr) != 0) {
    expect(all.status() == 0, "a loader that has failed is empty");
    return;
  }
  walk_index<G>(all);
  const std::vector<char*> names = walk_dictionary<G>(all);
  walk_pointers<G>(all, names.size());
  table_operations<G>::print_description(all.get_descr_list());
  if (names.empty()) return;

  // Every second channel and one that is not there.
  std::string unknown = "NOT/THERE";
  std::vector<char*> wanted{unknown.data()};
  for (std::size_t i = 0; i < names.size(); i += 2) wanted.push_back(names[i]);
  typename G::file_tables listed(0);
  if (listed.get_all_tables(path.c_str(), 0, &wanted) != 0) return;
  walk_pointers<G>(listed, wanted.size());
  for (const char* name : wanted)
    expect(*name == '\0' || listed.get_ecp_tab_entry_index(name) >= 0,
           "a listed channel with a name has a row");
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo;
  fuzz::be_quiet();
  static fuzz::memory_file file;
  file.write({reinterpret_cast<const char*>(data), size});
  ravo_file_generation generation{};
  static_cast<void>(ravo_get_file_generation(file.path().c_str(), &generation));
  fuzz::load<generation_2010>(file.path());
  fuzz::load<generation_2009>(file.path());
  return 0;
}

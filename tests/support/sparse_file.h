// A raw file that claims gigabytes and has next to none on disk: a whole small file whose reference table
// is moved far to the end, with parts of it leading into the hole.
#ifndef RAVO_TEST_SPARSE_FILE_H
#define RAVO_TEST_SPARSE_FILE_H

#include <cstdint>
#include <fstream>
#include <map>
#include <string>

#include "bytes.h"
#include "temporary_folder.h"

namespace ravo::test {

/// Where the reference table says a part lies, in bytes from its own beginning.
struct reference_field {
  static constexpr std::uint32_t event_index = 8, event_type_0 = 12, dictionary = 140, pointers = 144,
                                 environment = 148, descriptions = 152, event_headers = 156,
                                 server_blocks = 160, channels = 164;
};

struct sparse_file {
  bytes content;                              ///< a whole file
  std::map<std::uint32_t, bytes> parts;       ///< the parts in the hole, by offset
  std::map<std::uint32_t, std::uint32_t> to;  ///< what the reference table says instead, by field
  std::uint32_t end = 0;                      ///< offset of the reference table

  /// A part begins at `at`, and the reference table leads to it.
  sparse_file& lead(std::uint32_t field, std::uint32_t at, const bytes& part) {
    to[field] = at;
    parts[at] = part;
    return *this;
  }

  std::string write(const temporary_folder& folder, const std::string& name) const {
    const std::uint32_t reference = content.word(content.size() - 4);
    bytes moved;
    for (std::uint32_t field = 0; field < 168; field += 4) {
      const auto changed = to.find(field);
      moved.u32(changed == to.end() ? content.word(reference + field) : changed->second);
    }
    moved.u32(end);
    std::string path = folder.write(name, content.vector());
    std::fstream out(path, std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&out](std::uint32_t where, const bytes& what) {
      out.seekp(where);
      out.write(reinterpret_cast<const char*>(what.data()), static_cast<std::streamsize>(what.size()));
    };
    for (const auto& [at, part] : parts) put(at, part);
    put(end, moved);
    if (!out.flush()) throw std::runtime_error("cannot write " + path);
    return path;
  }
};

/// The head of a dictionary of so many channels, whose rows are a hole: they have no names and no events.
template <class layout>
bytes nameless_dictionary(std::uint32_t channels) {
  return bytes().u32(0xdcadcaf3u).u32(8 + channels * static_cast<std::uint32_t>(layout::dictionary_entry));
}

}  // namespace ravo::test

#endif

// Appends records and runs of values to the bytes of a payload, as they lie in memory.
#ifndef RAVO_SIMULATOR_APPEND_H
#define RAVO_SIMULATOR_APPEND_H

#include <cstddef>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

namespace ravo::simulator {

template <class Record>
  requires std::is_trivially_copyable_v<Record>
void append(std::vector<unsigned char>& to, const Record& record) {
  const std::size_t at = to.size();
  to.resize(at + sizeof record);
  std::memcpy(to.data() + at, &record, sizeof record);
}

template <class Element>
void append(std::vector<unsigned char>& to, std::span<const Element> elements) {
  const std::size_t at = to.size();
  to.resize(at + elements.size_bytes());
  if (!elements.empty()) std::memcpy(to.data() + at, elements.data(), elements.size_bytes());
}

}  // namespace ravo::simulator

#endif

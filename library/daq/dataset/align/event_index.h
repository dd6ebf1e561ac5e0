// The event index of a file: which span its events cover, and whether an event header agrees with the
// index. It is held in memory only while a file is opened or aligned.
#ifndef RAVO_DATASET_EVENT_INDEX_H
#define RAVO_DATASET_EVENT_INDEX_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "format/malloc_owner.h"
#include "ravo_raw_format.h"

namespace ravo::detail {

/// The events of a file's event index, all types together.
struct event_span {
  time_stamp first{};
  time_stamp last{};
  std::uint32_t lowest = 0;  ///< numbers; 0 where an event has none
  std::uint32_t highest = 0;
  bool empty = true;
};

/// Both generations have the same event index.
class event_index {
 public:
  /// Takes a table from the table-access library, which has checked where it ends.
  explicit event_index(malloc_owner<ravo_event_index_table_2010> table);

  /// From the first to the last of all its events, including those that it gives as the first and last of
  /// each type.
  event_span span() const;
  /// The number of its events.
  std::size_t size() const;

  /// Whether the index has an event of this type, number and time whose header lies at `offset`. In the
  /// order of a file's events no search is needed.
  bool has(std::uint32_t offset, const ravo_eventheader& header);

 private:
  using event = ravo_event_info_entry_2010;
  struct events_of_type {
    std::int32_t type = 0;
    std::span<event> events;  ///< by offset
    std::size_t next = 0;     ///< the one after the last that was found
  };

  malloc_owner<ravo_event_index_table_2010> table_;
  std::vector<events_of_type> types_;
};

}  // namespace ravo::detail

#endif

// The event index of a file: which span its events cover, and whether an event header says of its event
// what the index says of it. It is held in memory only while a file is opened or aligned.
#ifndef RAVO_DATASET_EVENT_INDEX_H
#define RAVO_DATASET_EVENT_INDEX_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "format/malloc_owner.h"
#include "ravo_raw_format.h"

namespace ravo::detail {

/// The events that a file's event index has, all types together.
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
  /// Takes a table as the table-access library hands it out, which has checked that it ends.
  explicit event_index(malloc_owner<ravo_event_index_table_2010> table);

  /// From the first to the last of all its events, and of what it says of the first and the last of each
  /// type.
  event_span span() const;
  /// The number of its events.
  std::size_t size() const;

  /// Whether the index has an event of this type, number and time whose header lies at `offset`. Asked in
  /// the order of a file's events it finds each in the next place.
  bool has(std::uint32_t offset, const ravo_eventheader& header);

 private:
  using event = ravo_event_info_entry_2010;
  struct events_of_type {
    std::int32_t type = 0;
    std::span<event> events;  ///< by offset
    std::size_t next = 0;     ///< the one behind that which was found last
  };

  malloc_owner<ravo_event_index_table_2010> table_;
  std::vector<events_of_type> types_;
};

}  // namespace ravo::detail

#endif

// Whether the events of a type are in sequence: in order of time, with rising numbers,
// without duplicates and without gaps. Within a file, and from one file of a run to the next.
#ifndef RAVO_VERIFY_SEQUENCE_H
#define RAVO_VERIFY_SEQUENCE_H

#include <cstdint>
#include <vector>

#include "file_map.h"
#include "finding_list.h"

namespace ravo::checks {

/// What is needed to check the events of a type in the next file.
struct type_sequence {
  int type;
  std::uint64_t first_offset;          ///< of the first event in the index
  std::uint32_t first_number;          ///< of the first event; 0: it has none
  time_stamp first, last;              ///< times of the first and the last event
  std::vector<std::uint32_t> numbers;  ///< sorted, without duplicates; events without number are omitted
  std::uint32_t step = 0;              ///< between neighbours; 0: not constant
  bool goes_back = false;              ///< the counter was reset: missing numbers are not known
};

/// Checks the events of one type; events of slow types come irregularly and cannot be missing.
type_sequence check_sequence(const type_entry& type, finding_list& findings);

/// Checks how a file's events of a type follow those of the file before it.
void check_succession(const type_sequence& before, const type_sequence& here, finding_list& findings);

}  // namespace ravo::checks

#endif

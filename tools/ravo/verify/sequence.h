// Whether the events of a type follow one another as they should: in the order of time, with numbers that
// rise, none twice and none left out. Within a file, and from one file of a run to the next.
#ifndef RAVO_VERIFY_SEQUENCE_H
#define RAVO_VERIFY_SEQUENCE_H

#include <cstdint>
#include <vector>

#include "verify/file_map.h"
#include "verify/finding_list.h"

namespace ravo::verify {

/// What the next file has to know of the events of a type.
struct type_sequence {
  int type;
  std::uint64_t first_offset;          ///< of the first event in the index
  std::uint32_t first_number;          ///< of the first event; 0: it has none
  time_stamp first, last;              ///< times of the first and the last event
  std::vector<std::uint32_t> numbers;  ///< sorted, none twice; events without number are left out
  std::uint32_t step = 0;              ///< between neighbours; 0: they have none
  bool goes_back = false;              ///< the counter was reset: which numbers are missing nobody can say
};

/// Checks the events of one type; slow ones come when they come and are not missed.
type_sequence check_sequence(const type_entry& type, finding_list& findings);

/// Checks how a file's events of a type follow those of the file before it.
void check_succession(const type_sequence& before, const type_sequence& here, finding_list& findings);

}  // namespace ravo::verify

#endif

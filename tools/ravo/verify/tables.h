// Loads the tables of a file through the table-access library and holds them against each other, and reads
// the heads of its events and server blocks. Blocks are not touched, but for the first and last subheader
// of each channel, by which its basket is judged.
#ifndef RAVO_VERIFY_TABLES_H
#define RAVO_VERIFY_TABLES_H

#include <optional>

#include "ravo_raw_generations.h"
#include "verify/checked_file.h"
#include "verify/file_map.h"
#include "verify/finding_list.h"

namespace ravo::verify {

/// What could be made of the file; nothing when there is no reference table to begin with.
template <class G>
std::optional<file_map> load_tables(const checked_file& file, finding_list& findings);

extern template std::optional<file_map> load_tables<raw_format_2009>(const checked_file&, finding_list&);
extern template std::optional<file_map> load_tables<raw_format_2010>(const checked_file&, finding_list&);

/// The reference table's marker, or nothing when the file's end does not lead to one.
std::optional<std::uint32_t> reference_marker(const checked_file& file);

}  // namespace ravo::verify

#endif

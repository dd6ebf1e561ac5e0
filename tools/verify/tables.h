// Loads the tables of a file through the table-access library and checks them against
// each other, and reads the heads of its events and server blocks. Blocks are not read,
// except for the first and last subheader of each channel, by which its basket is judged.
#ifndef RAVO_VERIFY_TABLES_H
#define RAVO_VERIFY_TABLES_H

#include <optional>

#include "checked_file.h"
#include "file_map.h"
#include "finding_list.h"
#include "ravo_raw_generations.h"

namespace ravo::checks {

/// The contents of the file as far as they can be read; `nullopt` if it has no reference table.
template <class G>
std::optional<file_map> load_tables(const checked_file& file, finding_list& findings);

extern template std::optional<file_map> load_tables<raw_format_2009>(const checked_file&, finding_list&);
extern template std::optional<file_map> load_tables<raw_format_2010>(const checked_file&, finding_list&);

/// The reference table's marker; `nullopt` if the file's end does not lead to one.
std::optional<std::uint32_t> reference_marker(const checked_file& file);

}  // namespace ravo::checks

#endif

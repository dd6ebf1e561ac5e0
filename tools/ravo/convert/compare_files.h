// Compares an older raw file with its conversion: both are read back through the
// loader and the decoder of their generation, and compared value by value. It
// shares with the conversion only the code that fetches and decodes a single block.
#ifndef RAVO_TOOL_COMPARE_FILES_H
#define RAVO_TOOL_COMPARE_FILES_H

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "common/raw_file.h"
#include "ravo_data_types.h"

namespace ravo::tool {

/// The first place where the files differ, in words; `nullopt` if there is
/// none. `report` is called now and then with the fraction that is done, 0
/// to 1, and may throw. Throws data_failure if a block cannot be decoded.
std::optional<std::string> first_difference(raw_file& older, raw_file& current,
                                            const std::function<void(double)>& report);

/// The first difference between the data of two blocks, of which the second is the
/// conversion of the first; both in host order, with the layout of their types.
std::optional<std::string> first_data_difference(const data_type& older,
                                                 std::span<const unsigned char> before,
                                                 const data_type& current,
                                                 std::span<const unsigned char> after);

}  // namespace ravo::tool

#endif

// Holds an older raw file against its conversion: both are read back through the loader and the decoder of
// their generation, and compared value by value. With what did the conversion this shares how a single
// block is fetched and decoded, and nothing else.
#ifndef RAVO_TOOL_COMPARE_FILES_H
#define RAVO_TOOL_COMPARE_FILES_H

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "common/raw_file.h"
#include "ravo_data_types.h"

namespace ravo::tool {

/// The first place where the files do not say the same, in words; nothing when there is none. `report` is
/// called now and then with the part that is done, 0 to 1, and may throw. Throws data_failure when a block
/// cannot be decoded.
std::optional<std::string> first_difference(raw_file& older, raw_file& current,
                                            const std::function<void(double)>& report);

/// The first difference of the data of two blocks, of which the second is the first's conversion; both in
/// host order, as their types say.
std::optional<std::string> first_data_difference(const data_type& older,
                                                 std::span<const unsigned char> before,
                                                 const data_type& current,
                                                 std::span<const unsigned char> after);

}  // namespace ravo::tool

#endif

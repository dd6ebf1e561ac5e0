// What becomes of a channel's data type and of its data when they move from the older generation to the
// current one. Knows nothing of files.
#ifndef RAVO_TOOL_CURRENT_FORM_H
#define RAVO_TOOL_CURRENT_FORM_H

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "ravo_data_types.h"

namespace ravo::tool {

/// The type of the current generation for data of an older type.
struct current_type {
  const data_type* type;
  std::string_view lost;  ///< what the new type no longer says; empty: it says the same
};

/// `nullopt` for a type that channels of older files do not have.
std::optional<current_type> current_type_of(RAVO_SUBBLOCK_TYPE older);

/// The data of a block of the older type, in the layout of the current one. Both are
/// in host order; `data` must agree with their type, as the output of a decoder does.
std::vector<unsigned char> current_data(const data_type& older, std::span<const unsigned char> data);

}  // namespace ravo::tool

#endif

// The members of a data type by their names, so that "NAME:CHARGE" is as good as "NAME:2".
#ifndef RAVO_DATASET_MEMBER_NAMES_H
#define RAVO_DATASET_MEMBER_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ravo_export.h"

namespace ravo {

/// The number of a member of data of a type; the members of a generic spectrum are called CH0, CH1 and so
/// on. `nullopt` if the type has no member of that name.
RAVO_EXPORT std::optional<int> member_number(std::int32_t data_type, std::string_view name);

/// The name of a member of data of a type: "CH3" where the type does not name it, and of generic spectra.
RAVO_EXPORT std::string member_name(std::int32_t data_type, int member);

/// "0 X, 1 Y, 2 CHARGE"; empty if the members of the type have no names of their own.
RAVO_EXPORT std::string member_list(std::int32_t data_type);

}  // namespace ravo

#endif

#include "ravo_dataset/column.h"

namespace ravo {

std::size_t element_size(element_type type) {
  switch (type) {
    case element_type::uint8:
      return 1;
    case element_type::uint16:
      return 2;
    default:
      return 4;
  }
}

std::string_view column_data::text(std::size_t index) const {
  if (layout.kind != value_kind::text || !is_ragged()) return {};
  const auto letters = row<std::uint8_t>(index);
  return {reinterpret_cast<const char*>(letters.data()), letters.size()};
}

}  // namespace ravo

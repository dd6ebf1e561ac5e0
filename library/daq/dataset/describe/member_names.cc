#include "ravo_dataset/member_names.h"

#include <charconv>

#include "ravo_data_types.h"

namespace ravo {
namespace {

bool has_names(const data_type& type) {
  return type.code != RAVO_BLOCK_GENERIC_SPECT && type.shape != payload_shape::name_value;
}

// The number in "CH7".
std::optional<int> channel_number(std::string_view name) {
  if (!name.starts_with("CH")) return std::nullopt;
  int number = -1;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + 2, end, number);
  if (error != std::errc() || stop != end || number < 0) return std::nullopt;
  return number;
}

}  // namespace

std::optional<int> member_number(std::int32_t data_type, std::string_view name) {
  const ravo::data_type* type = find_data_type(data_type);
  if (type == nullptr) return std::nullopt;
  if (type->code == RAVO_BLOCK_GENERIC_SPECT) return channel_number(name);
  if (!has_names(*type)) return std::nullopt;
  for (int i = 0; i < type->members; ++i)
    if (type->member_names[static_cast<std::size_t>(i)] == name) return i;
  return std::nullopt;
}

std::string member_name(std::int32_t data_type, int member) {
  const ravo::data_type* type = find_data_type(data_type);
  const bool is_named =
      type != nullptr && type->code != RAVO_BLOCK_GENERIC_SPECT && member >= 0 && member < type->members;
  return is_named ? std::string(type->member_names[static_cast<std::size_t>(member)])
                  : "CH" + std::to_string(member);
}

std::string member_list(std::int32_t data_type) {
  const ravo::data_type* type = find_data_type(data_type);
  if (type == nullptr || !has_names(*type)) return "";
  std::string list;
  for (int i = 0; i < type->members; ++i)
    list += (i == 0 ? "" : ", ") + std::to_string(i) + " " +
            std::string(type->member_names[static_cast<std::size_t>(i)]);
  return list;
}

}  // namespace ravo

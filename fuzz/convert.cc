// The data of a block of every type: into host order and back, cut into subchannels, inspected and printed.
// The input is a type and the data in file order.
#include <algorithm>
#include <cstring>
#include <string>

#include "expect.h"
#include "format/malloc_owner.h"
#include "format/payload_view.h"
#include "input.h"
#include "quiet.h"
#include "ravo_block_access.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_store.h"

namespace ravo::fuzz {
namespace {

constexpr int most_members = 10;

struct current {
  using subhead = ravo_serv_block_subhead_2010;
  static constexpr auto cut = &device_to_one_channel_2010;
  static constexpr auto print = &print_data_type_2010;
  static constexpr auto get_data = &get_pointer_to_data_2010;
};
struct older {
  using subhead = ravo_serv_block_subhead;
  static constexpr auto cut = &device_to_one_channel_2009;
  static constexpr auto print = &print_data_type;
  static constexpr auto get_data = &get_pointer_to_data_2009;
};

void look_into(ravo_serv_block_subhead_2010& block) {
  for (int member = -1; member <= most_members; ++member) {
    float start = 0, step = 0, groups_step = 0;
    float* mean = nullptr;
    ravo_spect_statistics_2010* statistics = nullptr;
    int samples = 0, groups = 0;
    if (get_spect_params_for_data_type_2010(&block, &start, &step, &mean, &samples, &groups, &groups_step,
                                            &statistics, member))
      continue;
    expect(samples >= 0 && groups >= 0, "a spectrum has no negative number of samples");
    if (mean != nullptr) touch(mean, sizeof *mean);
    if (statistics != nullptr) touch(statistics, sizeof *statistics);
    touch(get_pointer_to_data_2010(&block, member),
          static_cast<std::size_t>(samples) * static_cast<std::size_t>(groups) * sizeof(float));
  }
  static_cast<void>(get_spect_code_description_2010(&block));
  static_cast<void>(get_channel_number(block.dtype, &block));
}

void look_into(ravo_serv_block_subhead& block) {
  for (int member = -1; member <= most_members; ++member) {
    float start = 0, step = 0;
    float* mean = nullptr;
    int samples = 0;
    if (get_spect_params_for_data_type_2009(&block, &start, &step, &mean, &samples, member)) continue;
    if (mean != nullptr) touch(mean, sizeof *mean);
    touch(get_pointer_to_data_2009(&block, member), static_cast<std::size_t>(samples) * sizeof(float));
  }
  const int updates = get_number_of_upd_channels(&block);
  for (int record = -1; record <= updates; ++record) {
    char* name = nullptr;
    int status = 0;
    time_stamp time{};
    float value = 0;
    const bool there = get_update_params(&block, record, &name, &status, &time, &value) == 0;
    expect(there == (record >= 0 && record < updates), "there are as many updates as are said to be");
    if (there) touch(name, std::strlen(name));
  }
  int width = 0, height = 0, pixel = 0;
  unsigned event = 0;
  static_cast<void>(get_image_params(&block, &width, &height, &pixel, &event));
  ravo_image_ext_frame_head head{};
  static_cast<void>(get_image_ext_params(&block, &head));
  static_cast<void>(get_channel_number(block.dtype, &block));
}

template <class Generation>
void use_block(int dtype, const std::string& name, const exact_copy& data) {
  using subhead = typename Generation::subhead;
  subhead head{};
  std::memcpy(head.chname, name.data(), std::min(name.size(), sizeof head.chname - 1));
  head.dtype = dtype;
  head.ldata = static_cast<std::int32_t>(sizeof head + data.size());
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  bytes.append(reinterpret_cast<const char*>(data.data()), data.size());
  const exact_copy block(bytes);

  look_into(*block.as<subhead>());
  Generation::print(block.as<subhead>());
  for (int member = -1; member <= most_members; ++member) {
    static_cast<void>(Generation::get_data(block.as<subhead>(), member));
    subhead* made = nullptr;
    const bool failed = Generation::cut(block.as<subhead>(), member, 0, 0, &made);
    const malloc_owner<subhead> part(made);
    expect(!failed || made == nullptr, "a cut that failed makes nothing");
    if (!made) continue;
    expect(made->ldata >= static_cast<std::int32_t>(sizeof *made), "a part holds its own subheader");
    look_into(*made);
    Generation::print(made);
  }
  expect(std::memcmp(block.data(), bytes.data(), bytes.size()) == 0, "reading a block leaves it as it is");
}

/// Reads what a part of a payload says about itself.
void touch_parts(const payload_parts& parts, const exact_copy& data) {
  std::visit(
      [&](const auto& found) {
        if constexpr (requires { found.member(0); }) {
          for (std::size_t i = 0; i < std::min<std::size_t>(found.members, most_members); ++i) {
            const member_parts member = found.member(i);
            touch(data.data() + member.values, member.size());
            if (member.mean != 0) touch(data.data() + member.mean, sizeof(float));
            if (member.statistics != 0)
              touch(data.data() + member.statistics, sizeof(ravo_spect_statistics_2010));
          }
        } else if constexpr (requires { found.pixels; }) {
          touch(data.data() + found.pixels, static_cast<std::size_t>(found.length));
        } else if constexpr (requires { found.records; }) {
          for (std::size_t i = 0; i < found.count; ++i)
            touch(data.data() + found.name(i), sizeof(ravo_name_value_channel));
        } else if constexpr (requires { found.status; }) {
          touch(data.data(), found.name_size);
          touch(data.data() + found.status, sizeof(std::int32_t));
          touch(data.data() + found.time, sizeof(time_stamp));
          touch(data.data() + found.value, sizeof(float));
        }
      },
      parts);
}

/// What was converted is parsed in both orders, with the same result.
void parse_both_orders(int dtype, const exact_copy& stored, const exact_copy& converted) {
  const data_type& type = *find_data_type(dtype);
  const parsed_payload in_file = parse_payload(type, {stored.data(), stored.size(), word_order::file});
  const parsed_payload in_host =
      parse_payload(type, {converted.data(), converted.size(), word_order::host});
  expect(in_file.is_good() && in_host.is_good(), "what can be converted can be parsed in both orders");
  expect(in_file.parts.index() == in_host.parts.index(), "both orders have parts of one kind");
  touch_parts(in_file.parts, stored);
  touch_parts(in_host.parts, converted);
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo;
  fuzz::be_quiet();
  fuzz::input from(data, size);
  // The first byte chooses a row of the table, or, after its end, has two more bytes give any type.
  const std::size_t row = from.byte();
  const int dtype = row < std::size(data_types) ? static_cast<int>(data_types[row].code) : from.half();
  const std::string name = from.text();
  const fuzz::exact_copy stored(from.rest());
  const int length = static_cast<int>(stored.size());

  const fuzz::exact_copy apart({reinterpret_cast<const char*>(stored.data()), stored.size()});
  const fuzz::exact_copy in_place({reinterpret_cast<const char*>(stored.data()), stored.size()});
  const int status = ravo_convert_data(stored.data(), apart.data(), dtype, length);
  fuzz::expect(ravo_convert_data(in_place.data(), in_place.data(), dtype, length) == status,
               "a conversion in place ends as one apart");
  if (status == 0) {
    const auto bytes = static_cast<std::size_t>(length);
    fuzz::expect(std::memcmp(apart.data(), in_place.data(), bytes) == 0,
                 "a conversion in place gives the same");
    fuzz::parse_both_orders(dtype, stored, apart);
    fuzz::expect(ravo_store_data(in_place.data(), in_place.data(), dtype, length) == 0 &&
                     std::memcmp(stored.data(), in_place.data(), bytes) == 0,
                 "what was converted can be stored as it was");
  }
  // Also what cannot be converted: callers may pass any block.
  fuzz::use_block<fuzz::current>(dtype, name, apart);
  fuzz::use_block<fuzz::older>(dtype, name, apart);
  return 0;
}

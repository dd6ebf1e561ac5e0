// A payload of every data type put together by hand, and what each of its members is: its numbers, and the
// block that holds it alone, put together by hand too.
#ifndef RAVO_TEST_DATASET_MEMBER_PAYLOADS_H
#define RAVO_TEST_DATASET_MEMBER_PAYLOADS_H

#include <optional>
#include <utility>
#include <vector>

#include "ravo_data_types.h"
#include "written_files.h"

namespace ravo::test {

/// A block and the numbers in it.
struct known_block {
  handmade_block block;
  std::vector<double> numbers;
};

struct known_payload {
  known_block whole;
  std::vector<known_block> members;
};

template <class layout>
class payload_maker {
 public:
  static known_payload make(const data_type& type) {
    payload_maker maker(type);
    known_payload made = maker.make_shape();
    for (const known_block& member : made.members)
      made.whole.numbers.insert(made.whole.numbers.end(), member.numbers.begin(), member.numbers.end());
    return made;
  }

 private:
  static constexpr bool is_current = std::is_same_v<layout, layout_2010>;
  static constexpr int groups = 2, samples = 3;

  explicit payload_maker(const data_type& type) : type_(type) {}

  static float number(int member, int i) {
    return 1000.0f * static_cast<float>(member) + static_cast<float>(i) + 0.5f;
  }
  static handmade_block block_of(int dtype, bytes payload) {
    handmade_block block;
    block.dtype = dtype;
    block.payload = std::move(payload);
    return block;
  }

  known_payload make_shape() const {
    switch (type_.shape) {
      case payload_shape::spectrum:
        return spectra();
      case payload_shape::spectrum_older:
        return older_spectra();
      case payload_shape::roi:
        return profiles();
      case payload_shape::name_value:
        return records();
      case payload_shape::image:
        return one(frame(sizeof(ravo_image_frame_head), {{0, 2}, {4, 2}, {8, 1}, {24, 4}}), {1, 2, 3, 4});
      case payload_shape::image_ext:
        return one(frame(sizeof(ravo_image_ext_frame_head), {{8, 2}, {12, 2}, {24, 1}, {96, 4}}),
                   {1, 2, 3, 4});
      case payload_shape::text:
        return one(bytes().text("ab", 4), {'a', 'b'});
      case payload_shape::environment:
        return reading();
      default:
        return one(bytes().text("SLOW", layout::update_name).i32(3).u32(noon).u32(0).f32(7.5f), {7.5});
    }
  }

  /// A block that is its only member.
  known_payload one(bytes payload, std::vector<double> numbers) const {
    const handmade_block block = block_of(type_.code, std::move(payload));
    return {{block, {}}, {{block, std::move(numbers)}}};
  }

  /// Readings of type 3 are handed out as updates of the channel, which is called C.
  known_payload reading() const {
    known_payload made = one(bytes().i32(4).i32(3).u32(noon).u32(0).f32(21.5f), {21.5});
    if (type_.code == RAVO_ENV_BLOCK)
      made.members[0].block = block_of(
          layout::update_type, bytes().text("C", layout::update_name).i32(3).u32(noon).u32(0).f32(21.5f));
    return made;
  }

  static bytes frame(std::size_t head, const std::vector<std::pair<std::size_t, std::int32_t>>& words) {
    bytes payload;
    payload.fill(head);
    for (const auto& [at, word] : words) payload.set_i32(at, word);
    return payload.u32(0x01020304);
  }

  // Groups, means and statistics, which all have to follow their member.
  static bytes spectra_head(int members) {
    return bytes().i32(members).i32(samples).i32(groups).f32(2).f32(0.5f).f32(100).u32(3).i32(0);
  }
  static void add_mean(bytes& to, int member) { to.f32(static_cast<float>(member) + 0.25f); }
  static void add_statistics(bytes& to, int member) {
    to.u32(1).f32(static_cast<float>(member) + 0.125f).fill(31 * 4);
  }
  static std::vector<double> add_values(bytes& to, int member, int count) {
    std::vector<double> numbers;
    for (int i = 0; i < count; ++i) {
      to.f32(number(member, i));
      numbers.push_back(number(member, i));
    }
    return numbers;
  }

  known_payload spectra() const {
    const bool is_generic = type_.code == RAVO_BLOCK_GENERIC_SPECT;
    const int members = is_generic ? 3 : type_.members;
    known_payload made;
    bytes whole = spectra_head(members);
    for (int i = 0; i < members; ++i) add_mean(whole, i);
    for (int i = 0; i < members; ++i) add_statistics(whole, i);
    for (int i = 0; i < members; ++i) {
      add_values(whole, i, groups * samples);
      bytes alone = spectra_head(1);
      add_mean(alone, i);
      add_statistics(alone, i);
      std::vector<double> numbers = add_values(alone, i, groups * samples);
      constexpr int single_spectrum = 41;
      made.members.push_back(
          {block_of(is_generic || members == 1 ? type_.code : single_spectrum, alone), std::move(numbers)});
    }
    made.whole.block = block_of(type_.code, whole);
    return made;
  }

  known_payload older_spectra() const {
    known_payload made;
    const int members = type_.members;
    bytes whole = bytes().i32(members).i32(samples).f32(2).f32(0.5f);
    for (int i = 0; i < members; ++i) add_mean(whole, i);
    for (int i = 0; i < members; ++i) {
      add_values(whole, i, samples);
      bytes alone = bytes().i32(1).i32(samples).f32(2).f32(0.5f);
      add_mean(alone, i);
      std::vector<double> numbers = add_values(alone, i, samples);
      constexpr int single_spectrum = 9;
      made.members.push_back(
          {block_of(members == 1 ? type_.code : single_spectrum, alone), std::move(numbers)});
    }
    made.whole.block = block_of(type_.code, whole);
    return made;
  }

  // Profiles of different lengths, from different first pixels.
  known_payload profiles() const {
    constexpr int starts[] = {10, 20}, lengths[] = {3, 2};
    known_payload made;
    bytes whole = bytes().i32(starts[0]).i32(starts[1]).i32(lengths[0]).i32(lengths[1]);
    for (int i = 0; i < 2; ++i) {
      add_values(whole, i, lengths[i]);
      bytes alone;
      const auto start = static_cast<float>(starts[i]);
      if (is_current)
        alone.i32(1).i32(lengths[i]).i32(1).f32(start).f32(1).f32(0).u32(0).i32(0);
      else
        alone.i32(1)
            .i32(lengths[i])
            .f32(start)
            .f32(1)
            .f32(number(i, 0) + 0.5f * static_cast<float>(lengths[i] - 1));
      std::vector<double> numbers = add_values(alone, i, lengths[i]);
      made.members.push_back({block_of(layout::single_type, alone), std::move(numbers)});
    }
    made.whole.block = block_of(type_.code, whole);
    return made;
  }

  known_payload records() const {
    constexpr int count = 3;
    known_payload made;
    bytes whole = bytes().i32(7).text("a list", 80).i32(count);
    for (int i = 0; i < count; ++i) {
      const std::string name = "RECORD" + std::to_string(i);
      whole.text(name, 80).f32(number(i, 0));
      bytes alone = bytes().i32(7).text("a list", 80).i32(1).text(name, 80).f32(number(i, 0));
      made.members.push_back({block_of(type_.code, alone), {number(i, 0)}});
    }
    made.whole.block = block_of(type_.code, whole);
    return made;
  }

  const data_type& type_;
};

/// The numbers of a value, whatever its kind.
inline std::vector<double> numbers_of(const value& seen) {
  std::vector<double> numbers;
  const auto add = [&](const auto& all) {
    for (const auto one : all) numbers.push_back(static_cast<double>(one));
  };
  switch (seen.kind()) {
    case value_kind::spectrum:
    case value_kind::roi:
      add(seen.spectrum().values);
      break;
    case value_kind::image:
      add(seen.image().pixels);
      break;
    case value_kind::name_value:
      for (const ravo_name_value_channel& record : seen.name_values().records)
        numbers.push_back(static_cast<double>(record.value));
      break;
    case value_kind::text:
      add(seen.text());
      break;
    case value_kind::update:
      numbers.push_back(static_cast<double>(seen.update().value));
      break;
    default:
      break;
  }
  return numbers;
}

/// The numbers of a row of a column.
inline std::vector<double> numbers_of(const column_data& column, std::size_t row) {
  std::vector<double> numbers;
  const auto add = [&](const auto& all) {
    for (const auto one : all) numbers.push_back(static_cast<double>(one));
  };
  if (column.layout.element == element_type::float32)
    add(column.row<float>(row));
  else
    add(column.row<std::uint8_t>(row));
  return numbers;
}

}  // namespace ravo::test

#endif

// What is computed while decoding, computed again from the events' values with models too simple to be
// wrong: for the tests of statistics, envelopes, histograms and digests of values. Numbers are multiples of
// 1/1024 below 2^32, so that sums of them and of their squares are whole numbers.
#ifndef RAVO_TEST_DATASET_BRUTE_FORCE_H
#define RAVO_TEST_DATASET_BRUTE_FORCE_H

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "generated_sets.h"

namespace ravo::test {

// ---- files with values of every kind

/// Makes blocks of random content.
template <class layout>
class block_maker {
 public:
  explicit block_maker(generator& random) : random_(random) {}
  static constexpr unsigned kinds = 10;
  static constexpr bool is_current = std::is_same_v<layout, layout_2010>;

  handmade_block make(unsigned kind, std::size_t event) {
    handmade_block block = of_kind(kind);
    block.event = event;
    if (kind == update) return block;
    if (random_.chance(12)) block.payload.resize(block.payload.size() / 2);  // cannot_convert
    block = zipped(block, 1 + random_.below(2));
    if (random_.chance(15)) block.zip_flags = 4;  // cannot_inflate
    return block;
  }

 private:
  enum : unsigned { scalar, wave, changing_wave, members, records, picture, frame, roi, text, update };

  handmade_block of_kind(unsigned kind) {
    switch (kind) {
      case scalar:
        return spectra(1, 1);
      case wave:
        return spectra(1, 300);
      case changing_wave:
        return spectra(1, random_.below(40));
      case members:
        return spectra(3, 5);
      case records:
        return list();
      case picture:
        return image(1 + random_.below(4), false);
      case frame:
        return image(1 + random_.below(6), true);
      case roi:
        return profiles();
      case text: {
        handmade_block block = of_type(RAVO_BLOCK_NAME_VALUE_STRING);
        block.payload.text(std::string(random_.below(9), 'x'), 12);
        return block;
      }
      default:
        return update_of(layout{}, 0, number(), noon);
    }
  }

  float number() {
    if (random_.chance(40)) return std::numeric_limits<float>::quiet_NaN();
    if (random_.chance(60)) return std::numeric_limits<float>::infinity() * (random_.chance(2) ? 1 : -1);
    return (static_cast<float>(random_.below(1 << 20)) - (1 << 19)) / 1024.0f;
  }
  static handmade_block of_type(int type) {
    handmade_block block;
    block.dtype = type;
    return block;
  }

  handmade_block spectra(std::size_t count, std::size_t samples) {
    std::vector<std::vector<float>> all(count);
    for (auto& member : all)
      for (std::size_t i = 0; i < samples; ++i) member.push_back(number());
    handmade_block block = of_type(count == 1   ? layout::single_type
                                   : is_current ? RAVO_BLOCK_BPM_2010
                                                : RAVO_BLOCK_BPM);
    block.payload = spectrum<layout>(all);
    return block;
  }

  handmade_block list() {
    const unsigned count = random_.below(6);
    handmade_block block = of_type(RAVO_BLOCK_NAME_VALUE);
    block.payload.i32(1).text("", 80).i32(static_cast<int>(count));
    for (unsigned i = 0; i < count; ++i)
      block.payload.text("R" + std::to_string(random_.below(8)), 80).f32(number());
    return block;
  }

  handmade_block image(unsigned bytes_of_pixel, bool is_compressed) {
    const int width = 3, height = 2, length = width * height * static_cast<int>(bytes_of_pixel);
    handmade_block block = of_type(RAVO_BLOCK_IMAGE);
    for (const int word :
         {width, height, static_cast<int>(bytes_of_pixel), is_compressed ? 1 : 0, 0, 0, length})
      block.payload.i32(word);
    std::string pixels;
    for (int i = 0; i < length; ++i) pixels += static_cast<char>(random_.below(256));
    block.payload.raw(pixels);
    return block;
  }

  handmade_block profiles() {
    const int width = 2 + static_cast<int>(random_.below(3)),
              height = 1 + static_cast<int>(random_.below(3));
    handmade_block block = of_type(RAVO_BLOCK_IMG_ROI1);
    block.payload.i32(10).i32(20).i32(width).i32(height);
    for (int i = 0; i < width + height; ++i) block.payload.f32(number());
    return block;
  }

  generator& random_;
};

/// A few files with a channel of each kind, gaps, damage, and channels whose kind changes.
template <class layout>
std::vector<std::string> write_kinds(const temporary_folder& folder, generator& random) {
  std::vector<std::string> files;
  std::uint32_t number = 1 + random.below(1000), time = 0;
  block_maker<layout> maker(random);
  for (unsigned file = 0, all = 1 + random.below(3); file < all; ++file) {
    handmade_file_of<layout> made;
    for (unsigned kind = 0; kind < maker.kinds; ++kind)
      made.channels.emplace_back("KIND" + std::to_string(kind));
    made.channels.emplace_back("MIXED");
    for (std::size_t i = 0, events = 2 + random.below(20); i < events; ++i) {
      number += random.chance(6) ? 3 : 1;
      time += random.chance(6) ? 700 : 100;
      made.events.push_back(event_at(number, time));
      for (unsigned kind = 0; kind < maker.kinds; ++kind)
        if (i == 0 || !random.chance(5)) made.channels[kind].blocks.push_back(maker.make(kind, i));
      if (!random.chance(3))
        made.channels.back().blocks.push_back(maker.make(random.below(maker.kinds - 1), i));
    }
    files.push_back(write(folder, "kinds" + std::to_string(file) + ".raw", made));
  }
  return files;
}

// ---- the values of events, as lists

/// The numbers of one series in one value.
struct seen_numbers {
  std::string series;  ///< "0" of the first member, "R:NAME" of a record
  std::vector<double> numbers;
};

/// One recorded value.
struct seen_value {
  std::size_t ordinal = 0;
  ravo_time_id event{};
  ravo_time_id recorded{};
  value_status status = value_status::ok;
  bool has_numbers = false;
  std::vector<seen_numbers> series;
};

inline std::vector<double> doubles_of(std::span<const float> numbers) {
  return {numbers.begin(), numbers.end()};
}

inline void note_numbers(const value& one, seen_value& into) {
  into.has_numbers = true;
  if (one.kind() == value_kind::spectrum || one.kind() == value_kind::roi) {
    const spectrum_view view = one.spectrum();
    for (std::size_t i = 0; i < view.members; ++i)
      into.series.push_back({std::to_string(i), doubles_of(view.member(i))});
  } else if (one.kind() == value_kind::name_value) {
    for (const ravo_name_value_channel& record : one.name_values().records)
      into.series.push_back({"R:" + std::string(record.name), {static_cast<double>(record.value)}});
  } else if (one.kind() == value_kind::update) {
    into.series.push_back({"0", {static_cast<double>(one.update().value)}});
  } else if (one.kind() == value_kind::image && one.image().is_complete()) {
    const image_view view = one.image();
    into.series.push_back({"0", {}});
    for (std::size_t y = 0; y < view.height; ++y)
      for (std::size_t x = 0; x < view.width; ++x)
        into.series.back().numbers.push_back(static_cast<double>(view.pixel(x, y)));
  } else {
    into.has_numbers = false;
  }
  std::erase_if(into.series, [](const seen_numbers& numbers) { return numbers.numbers.empty(); });
}

inline std::vector<seen_value> values_of(const dataset& data, const std::string& channel) {
  std::vector<seen_value> all;
  std::size_t ordinal = 0;
  for (event_range events = data.events(); const event& one : events) {
    const value seen = one[channel];
    const std::size_t position = ordinal++;
    if (seen.is_held() || seen.status() == value_status::not_recorded) continue;
    all.push_back({position, one.id(), seen.recorded_with(), seen.status(), false, {}});
    if (seen.status() == value_status::ok) note_numbers(seen, all.back());
  }
  return all;
}

/// The series of a channel: members by their place, then records as they come first.
inline std::vector<std::string> series_of(const std::vector<seen_value>& values) {
  std::vector<std::string> members, records;
  for (const seen_value& one : values)
    for (const seen_numbers& numbers : one.series) {
      auto& list = numbers.series.starts_with("R:") ? records : members;
      if (std::find(list.begin(), list.end(), numbers.series) == list.end()) list.push_back(numbers.series);
    }
  std::sort(members.begin(), members.end());
  members.insert(members.end(), records.begin(), records.end());
  return members;
}

/// All numbers of a series in those values for which `is_meant` is true.
template <class IsMeant>
std::vector<double> numbers_in(const std::vector<seen_value>& values, const std::string& series,
                               const IsMeant& is_meant) {
  std::vector<double> all;
  for (const seen_value& one : values)
    if (is_meant(one))
      for (const seen_numbers& numbers : one.series)
        if (numbers.series == series) all.insert(all.end(), numbers.numbers.begin(), numbers.numbers.end());
  return all;
}

/// Statistics of multiples of 1/1024, from whole numbers.
inline number_statistics statistics_of(const std::vector<double>& numbers) {
  __extension__ using wide = __int128;
  number_statistics made;
  made.count = numbers.size();
  wide sum = 0, squares = 0;
  std::int64_t finite = 0;
  for (const double one : numbers) {
    made.nan += std::isnan(one);
    made.infinite += std::isinf(one);
    if (!std::isfinite(one)) continue;
    const auto whole = static_cast<std::int64_t>(one * 1024);
    sum += whole;
    squares += wide{whole} * whole;
    if (finite == 0 || one < made.least) made.least = one;
    if (finite == 0 || one > made.greatest) made.greatest = one;
    ++finite;
  }
  if (finite == 0) return made;
  const auto count = static_cast<double>(finite);
  made.mean = static_cast<double>(sum) / 1024 / count;
  made.deviation = std::sqrt(static_cast<double>(finite * squares - sum * sum)) / 1024 / count;
  return made;
}

inline bool is_same_number(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

}  // namespace ravo::test

#endif

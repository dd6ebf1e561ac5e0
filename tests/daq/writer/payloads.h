// Data of channels for the tests of the writer: the same values once in host order, as a user passes them
// in, and once as they have to lie in the file. The two are built side by side from the values.
#ifndef RAVO_TEST_WRITER_PAYLOADS_H
#define RAVO_TEST_WRITER_PAYLOADS_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "raw_layouts.h"

namespace ravo::test {

class payload {
 public:
  payload& u32(std::uint32_t word) {
    host_.resize(host_.size() + 4);
    std::memcpy(host_.data() + host_.size() - 4, &word, 4);
    for (int shift = 24; shift >= 0; shift -= 8) file_.push_back(static_cast<unsigned char>(word >> shift));
    return *this;
  }
  payload& f32(float value) { return u32(std::bit_cast<std::uint32_t>(value)); }
  payload& byte(unsigned char value) {
    host_.push_back(value);
    file_.push_back(value);
    return *this;
  }
  payload& text(const std::string& value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i)
      byte(i < value.size() ? static_cast<unsigned char>(value[i]) : 0);
    return *this;
  }

  const std::vector<unsigned char>& host() const { return host_; }
  const std::vector<unsigned char>& file() const { return file_; }

 private:
  std::vector<unsigned char> host_;
  std::vector<unsigned char> file_;
};

/// The head of a spectrum of one group.
inline payload spectrum_head(layout_2010, std::uint32_t members, std::uint32_t samples, float start,
                             float inc) {
  payload data;
  return data.u32(members).u32(samples).u32(1).f32(start).f32(inc).f32(0).u32(0).u32(0);
}
/// In the older generation with a mean for each member.
inline payload spectrum_head(layout_2009, std::uint32_t members, std::uint32_t samples, float start,
                             float inc) {
  payload data;
  data.u32(members).u32(samples).f32(start).f32(inc);
  for (std::uint32_t i = 0; i < members; ++i) data.f32(static_cast<float>(i) + 0.75f);
  return data;
}

/// A spectrum of one group; `members` x `samples` values.
template <class layout = layout_2010>
payload spectrum(std::uint32_t members, const std::vector<float>& values) {
  payload data =
      spectrum_head(layout{}, members, static_cast<std::uint32_t>(values.size()) / members, 0.5f, 0.25f);
  for (float value : values) data.f32(value);
  return data;
}

/// One member that compresses well.
template <class layout = layout_2010>
payload smooth_spectrum(std::size_t samples, float level) {
  std::vector<float> values(samples);
  for (std::size_t i = 0; i < samples; ++i) values[i] = level + static_cast<float>(i % 16);
  return spectrum<layout>(1, values);
}

/// One member that does not compress at all.
template <class layout = layout_2010>
payload noisy_spectrum(std::size_t samples, std::uint32_t seed) {
  std::mt19937 random(seed);
  payload data = spectrum_head(layout{}, 1, static_cast<std::uint32_t>(samples), 0, 1);
  for (std::size_t i = 0; i < samples; ++i) data.u32(static_cast<std::uint32_t>(random()));
  return data;
}

template <class layout = layout_2010>
payload update(const std::string& property, std::uint32_t seconds, float value) {
  payload data;
  return data.text(property, layout::update_name).u32(0).u32(seconds).u32(17).f32(value);
}

inline payload environment(std::uint32_t index, std::uint32_t seconds, float value) {
  payload data;
  return data.u32(index).u32(0).u32(seconds).u32(17).f32(value);
}

inline payload text(const std::string& value) {
  payload data;
  return data.text(value, value.size() + 1);
}

/// A plain camera frame of one byte a pixel.
inline payload image(std::uint32_t width, std::uint32_t height, unsigned char first) {
  payload data;
  data.u32(width).u32(height).u32(1).u32(0).u32(3).u32(4).u32(width * height);
  for (std::uint32_t i = 0; i < width * height; ++i) data.byte(static_cast<unsigned char>(first + i));
  return data;
}

}  // namespace ravo::test

#endif

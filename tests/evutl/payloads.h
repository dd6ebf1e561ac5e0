// One good payload of every shape in file order, and the same payload in host order, both by hand.
#ifndef RAVO_TEST_PAYLOADS_H
#define RAVO_TEST_PAYLOADS_H

#include <vector>

#include "bytes.h"
#include "ravo_raw_format.h"

namespace ravo::test {

/// Appends words the way this machine keeps them.
class host_bytes {
 public:
  host_bytes& u32(std::uint32_t word) {
    content_.u32(__builtin_bswap32(word));
    return *this;
  }
  host_bytes& i32(std::int32_t word) { return u32(static_cast<std::uint32_t>(word)); }
  host_bytes& f32(float value) { return u32(std::bit_cast<std::uint32_t>(value)); }
  host_bytes& text(std::string_view value, std::size_t width) {
    content_.text(value, width);
    return *this;
  }
  host_bytes& raw(std::string_view value) {
    content_.raw(value);
    return *this;
  }
  operator const bytes&() const { return content_; }
  const bytes& content() const { return content_; }

 private:
  bytes content_;
};

template <class Bytes>
Bytes spectrum(int members, int groups, int samples, std::uint32_t flags) {
  Bytes data;
  data.i32(members).i32(samples).i32(groups).f32(0.5f).f32(0.25f).f32(100).u32(flags).i32(0);
  if (flags & 1)
    for (int m = 0; m < members; ++m) data.f32(static_cast<float>(10 * m));
  if (flags & 2)
    for (int m = 0; m < members; ++m) {
      data.u32(0x80000001u);
      for (int i = 0; i < 32; ++i) data.f32(static_cast<float>(1000 * m + i));
    }
  for (int m = 0; m < members; ++m)
    for (int i = 0; i < groups * samples; ++i) data.f32(static_cast<float>(100 * m + i));
  return data;
}

template <class Bytes>
Bytes older_spectrum(int members, int samples) {
  Bytes data;
  data.i32(members).i32(samples).f32(0.5f).f32(0.25f);
  for (int m = 0; m < members; ++m) data.f32(static_cast<float>(10 * m));
  for (int m = 0; m < members; ++m)
    for (int i = 0; i < samples; ++i) data.f32(static_cast<float>(100 * m + i));
  return data;
}

template <class Bytes>
Bytes image() {
  Bytes data;
  data.u32(0x00050003u).u32(0x00060002u).u32(1u << 18 | 2u << 4 | 1).i32(0).u32(7).u32(1234).i32(6);
  data.raw("pixels");
  return data;
}

template <class Bytes>
Bytes image_ext() {
  Bytes data;
  data.i32(640).i32(480).i32(3).i32(2).i32(10).i32(20).i32(1).i32(8).i32(1).i32(1).i32(0).i32(1);
  data.u32(7).u32(1234).f32(0.5f).f32(0.25f).f32(90).f32(0).f32(0).f32(0);
  data.i32(1).i32(0).i32(0).i32(0).i32(6).raw("pixels");
  return data;
}

template <class Bytes>
Bytes roi() {
  Bytes data;
  data.i32(10).i32(20).i32(3).i32(2).f32(1).f32(2).f32(3).f32(4).f32(5);
  return data;
}

template <class Bytes>
Bytes name_value() {
  Bytes data;
  data.i32(42).text("settings", 80).i32(2);
  data.text("gain", 80).f32(1.5f).text("offset", 80).f32(-2);
  return data;
}

template <class Bytes>
Bytes update(std::size_t name_width) {
  Bytes data;
  data.text("MAGNET/CURRENT", name_width).i32(3).u32(1767225600).u32(5).f32(12.5f);
  return data;
}

template <class Bytes>
Bytes environment() {
  Bytes data;
  data.i32(4).i32(0).u32(1767225600).u32(6).f32(21.5f);
  return data;
}

template <class Bytes>
Bytes env_dictionary() {
  Bytes data;
  data.u32(13).i32(4).u32(14).i32(5);
  return data;
}

template <class Bytes>
Bytes text() {
  Bytes data;
  data.raw(std::string_view("beam on\0\0\0", 10));
  return data;
}

/// A payload of one type, in both orders.
struct payload {
  int dtype;
  bytes file;
  bytes host;
};

/// Every data type with a good payload of it; members are those that the type must have.
inline std::vector<payload> all_payloads() {
  std::vector<payload> all;
  const auto add = [&](int dtype, const bytes& file, const host_bytes& host) {
    all.push_back({dtype, file, host.content()});
  };
  for (const int dtype : {1, 4, 5, 31}) add(dtype, update<bytes>(80), update<host_bytes>(80));
  for (const int dtype : {33, 36, 37}) add(dtype, update<bytes>(256), update<host_bytes>(256));
  for (const int dtype : {2, 34}) add(dtype, env_dictionary<bytes>(), env_dictionary<host_bytes>());
  for (const int dtype : {3, 35}) add(dtype, environment<bytes>(), environment<host_bytes>());
  const int older[][2] = {{6, 3},  {7, 4},  {8, 4},  {9, 1},  {10, 1}, {11, 2}, {12, 1}, {14, 1},
                          {15, 2}, {16, 4}, {17, 4}, {18, 1}, {19, 1}, {20, 2}, {21, 2}};
  for (const auto& [dtype, members] : older)
    add(dtype, older_spectrum<bytes>(members, 5), older_spectrum<host_bytes>(members, 5));
  const int current[][2] = {{28, 5}, {38, 3}, {39, 4}, {40, 4}, {41, 1}, {42, 1}, {43, 2},
                            {44, 1}, {45, 2}, {46, 2}, {47, 4}, {48, 4}, {49, 4}, {50, 1},
                            {51, 1}, {52, 6}, {53, 8}, {60, 3}, {61, 5}, {62, 7}};
  for (const auto& [dtype, members] : current)
    for (std::uint32_t flags = 0; flags < 4; ++flags)
      add(dtype, spectrum<bytes>(members, 2, 3, flags), spectrum<host_bytes>(members, 2, 3, flags));
  add(13, image<bytes>(), image<host_bytes>());
  add(27, image_ext<bytes>(), image_ext<host_bytes>());
  for (const int dtype : {24, 25, 26}) add(dtype, roi<bytes>(), roi<host_bytes>());
  add(22, name_value<bytes>(), name_value<host_bytes>());
  add(23, text<bytes>(), text<host_bytes>());
  return all;
}

}  // namespace ravo::test

#endif

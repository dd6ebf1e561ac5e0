// The layout of each generation of the raw format in numbers, as its page states them: what the tests
// build and check files with. It shares nothing with the library's headers.
#ifndef RAVO_TEST_RAW_LAYOUTS_H
#define RAVO_TEST_RAW_LAYOUTS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ravo::test {

struct layout_2010 {
  static constexpr std::string_view name = "Current";
  static constexpr std::string_view signature = "RAVO raw 2010\r\n\x1a";
  static constexpr std::uint32_t reference_marker = 0xfefafaf3;
  static constexpr std::uint32_t event_header_marker = 0xffeef3f3;
  static constexpr std::size_t dictionary_name = 256;  // widths of texts
  static constexpr std::size_t server_name = 256;
  static constexpr std::size_t block_name = 256;
  static constexpr std::size_t update_name = 256;
  static constexpr std::size_t dictionary_entry = 272;  // bytes of records
  static constexpr std::size_t server_block = 284;
  static constexpr std::size_t subhead = 268;
  static constexpr int single_type = 41;  // of one plain member
  static constexpr int update_type = 33;
};

struct layout_2009 {
  static constexpr std::string_view name = "Older";
  static constexpr std::string_view signature = "RAVO raw 2009\r\n\x1a";
  static constexpr std::uint32_t reference_marker = 0xfeafeaf3;
  static constexpr std::uint32_t event_header_marker = 0xffeeffee;
  static constexpr std::size_t dictionary_name = 80;
  static constexpr std::size_t server_name = 48;
  static constexpr std::size_t block_name = 32;
  static constexpr std::size_t update_name = 80;
  static constexpr std::size_t dictionary_entry = 96;
  static constexpr std::size_t server_block = 76;
  static constexpr std::size_t subhead = 44;
  static constexpr int single_type = 9;
  static constexpr int update_type = 1;
};

}  // namespace ravo::test

#endif

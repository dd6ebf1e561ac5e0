// Whatever is in a file, a check of it ends and reports what was changed: every word of a
// small file of each generation takes every suspicious value, and every length is tried.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "generation_name.h"
#include "simulated_files.h"
#include "small_file.h"

namespace {

using namespace ravo::test;

template <class layout>
class Mutants : public testing::Test {
 protected:
  std::vector<std::string> check(const bytes& content) {
    return lines_of(
        findings_of({folder.write("f.raw", content.vector())}, ravo::verification_depth::blocks, 1));
  }

  // Values that are allowed as well: readers pass the
  // word on, ignore it, or it means the same as before.
  bool is_free(std::uint32_t at, std::uint32_t value) const {
    const std::uint32_t word = file.content.word(at);
    const bool is_end_of_name = (word & 0xffff) == 0 && (value ^ word) == 1;  // after the final zero
    const bool is_other_type = word == 41 && value == 42;                     // of the same shape
    if (is_end_of_name || is_other_type) return true;
    const auto lies_in = [at](std::uint32_t begin, std::size_t length) {
      return at >= begin && at < begin + length;
    };
    const auto in_block = [&](std::uint32_t block, std::uint32_t end) {
      const auto head = static_cast<std::uint32_t>(layout::subhead);
      const std::uint32_t after_name = block + 12;  // the name ends in its third word
      return lies_in(after_name, head - 24) || lies_in(block + head - 8, 4) ||
             lies_in(block + head, end - block - head);
    };
    if (in_block(file.bpm_block[0], file.bpm_block[1]) || in_block(file.bpm_block[1], file.note_basket) ||
        in_block(file.note_block, file.event_headers))
      return true;
    const auto server_size = static_cast<std::uint32_t>(layout::server_block);
    const auto row_size = static_cast<std::uint32_t>(layout::dictionary_entry);
    for (std::uint32_t i = 0; i < 2; ++i) {
      if (lies_in(file.event_headers + 8 + i * 36 + 24, 8)) return true;  // trigger mask, status
      const std::uint32_t server = file.server_blocks + 8 + i * server_size;
      if (lies_in(server, 8) || lies_in(server + 12, server_size - 16))
        return true;  // all but length and channels
      const std::uint32_t row = file.dictionary + 8 + i * row_size;
      if (lies_in(row, 4) || lies_in(row + 4 + 12, row_size - 16 - 12))
        return true;  // key, the rest after the name
    }
    return lies_in(file.environment + 8, 8) ||
           lies_in(file.descriptions + 8, file.reference - file.descriptions - 8);
  }

  temporary_folder folder;
  small_file file = small_file_like(layout{});
};

using layouts = testing::Types<layout_2009, layout_2010>;
TYPED_TEST_SUITE(Mutants, layouts, generation_name);

TYPED_TEST(Mutants, OfEveryWordThatMeansSomethingAreNoticed) {
  const auto size = static_cast<std::uint32_t>(this->file.content.size());
  const auto good = this->check(this->file.content);
  for (std::uint32_t at = 0; at < size; at += 4) {
    const std::uint32_t word = this->file.content.word(at);
    for (const std::uint32_t value :
         {0u, 1u, 0xffffffffu, 0x7fffffffu, 0x80000000u, size, size - 4, word + 1}) {
      if (value == word) continue;
      bytes content = this->file.content;
      content.set_u32(at, value);
      const auto found = this->check(content);  // ends, whatever the word is
      EXPECT_TRUE(this->is_free(at, value) || found != good) << "word at " << at << " is " << value;
    }
  }
}

TYPED_TEST(Mutants, OfEveryLengthAreRefused) {
  for (std::size_t length = 0; length < this->file.content.size(); ++length) {
    bytes content = this->file.content;
    content.resize(length);
    EXPECT_THAT(this->check(content), testing::ElementsAre(testing::HasSubstr(" file.reference ")))
        << length;
  }
}

}  // namespace

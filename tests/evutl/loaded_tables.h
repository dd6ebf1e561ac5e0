// The small file with its reference table loaded, for tests of the other tables. A test may change the
// bytes before it opens the file, and may open it again after another change.
#ifndef RAVO_TEST_LOADED_TABLES_H
#define RAVO_TEST_LOADED_TABLES_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <utility>

#include "open_file.h"
#include "small_file.h"

namespace ravo::test {

template <class generation>
class Tables : public testing::Test {
 protected:
  void open() {
    file_ = std::make_unique<open_file<generation>>(small.content);
    auto loaded = file_->reference();
    ASSERT_EQ(loaded.status, 0);
    reference_ = std::move(loaded.content);
  }
  const open_file<generation>& file() { return *file_; }
  const ravo_file_reference_table& reference() { return *reference_; }

  /// Puts another event index after everything else: one entry without events for each type.
  void replace_index(std::initializer_list<std::int32_t> types) {
    small.content.resize(small.tail());
    small.content.set_u32(small.reference + 8, static_cast<std::uint32_t>(small.content.size()));
    small.content.set_u32(small.reference + 16, 0);
    small.content.u32(0xedaedaf3).u32(static_cast<std::uint32_t>(types.size()));
    for (const std::int32_t type : types) small.content.i32(type).fill(6 * 4).i32(0);
    small.content.u32(small.reference);
  }

  small_file small = build_small_file<generation>();

 private:
  std::unique_ptr<open_file<generation>> file_;
  table<ravo_file_reference_table> reference_;
};

TYPED_TEST_SUITE(Tables, generations, generation_name);

}  // namespace ravo::test

#endif

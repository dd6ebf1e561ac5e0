// Files of another writer, whose event headers have another marker, read through a table-access library of
// the site that knows it. This program plays that library: its definitions precede ours.
#include <gtest/gtest.h>

#include "classic_reading.h"
#include "ravo_evutl.h"
#include "ravo_evutl_optional.h"
#include "written_files.h"

namespace {
constexpr std::uint32_t marker_of_the_site = 0x51e0f00d;
bool knows_its_marker = true;

bool is_of_the_site(const void* header) {
  std::uint32_t word = 0;
  ravo_swap4(header, &word, 1);
  return knows_its_marker && word == marker_of_the_site;
}
}  // namespace

bool ravo_is_event_header_2010(const void* header) { return is_of_the_site(header); }
bool ravo_is_event_header(const void* header) { return is_of_the_site(header); }

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class SiteMarker : public testing::Test {
 protected:
  std::string write_file() {
    handmade_file_of<layout> file;
    for (std::uint32_t i = 0; i < 5; ++i) file.events.push_back(event_at(1 + i, i * 100));
    file.channels = {numbers_at<layout>("A", {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}})};
    bytes built = file.build();
    for (std::size_t i = 0; i < 5; ++i)
      built.set_u32(file.at.at("events") + 8 + i * 36, marker_of_the_site);
    return folder.write("site.raw", built.vector());
  }
  temporary_folder folder;
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(SiteMarker, layouts);

TYPED_TEST(SiteMarker, IsTheSitesMatterInEveryWayOfReading) {
  const std::string path = this->write_file();
  const dataset data = dataset::open(of_files({path}));
  const column_data column = data.column("A");
  ASSERT_EQ(column.size(), 5u);
  for (std::size_t row = 0; row < 5; ++row) EXPECT_EQ(column.row<float>(row)[0], static_cast<float>(row));
  EXPECT_EQ(numbers_of(data.events()).size(), 5u);
  EXPECT_EQ(data.ledger().missing(), 0u);
  const auto generation =
      std::is_same_v<TypeParam, layout_2010> ? ravo_file_generation::current : ravo_file_generation::older;
  EXPECT_EQ(read_classic(generation, {path}, {"A"}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID).size(), 5u);
}

TYPED_TEST(SiteMarker, ThatTheSiteDoesNotKnowIsCounted) {
  const std::string path = this->write_file();
  knows_its_marker = false;
  const dataset data = dataset::open(of_files({path}));
  EXPECT_EQ(numbers_of(data.events()).size(), 0u);
  knows_its_marker = true;
  EXPECT_EQ(data.ledger().of("A").missing[static_cast<std::size_t>(missing_cause::no_event_header)], 5u);
}

}  // namespace

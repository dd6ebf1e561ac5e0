// What a channel is described as, over files put together by hand: units, axes and members from their
// descriptions, what changes from file to file, and what is left where a file cannot say it.
#include <gtest/gtest.h>

#include "damaged_file.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;

std::string xml_of(const std::string& channels) {
  return "<channel_descriptions version=\"1\">" + channels + "</channel_descriptions>";
}

template <class layout>
class Description : public testing::Test {
 protected:
  /// A file of one channel of three waves, `WAVE`, a second after the file before.
  std::string add(const std::string& xml, int dtype = layout::single_type, std::size_t samples = 4) {
    handmade_file_of<layout> file;
    handmade_channel wave("WAVE");
    for (std::uint32_t i = 0; i < 3; ++i) {
      file.events.push_back(event_at(files * 3 + i + 1, files * 1000 + i * 100));
      handmade_block block;
      block.event = i;
      block.dtype = dtype;
      block.payload = spectrum<layout>({std::vector<float>(samples, 1.0f)}, 0.5f, 2.0f);
      wave.blocks.push_back(block);
    }
    file.channels = {wave};
    file.xml = xml;
    paths.push_back(write(folder, "f" + std::to_string(files++) + ".raw", file));
    return paths.back();
  }
  dataset open() const { return dataset::open(of_files(paths)); }

  temporary_folder folder;
  std::uint32_t files = 0;
  std::vector<std::string> paths;
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Description, layouts);

const std::string in_mm = xml_of(
    "<channel prop_name=\"WAVE\" prop_desc=\"a wave\" units=\"mm\">"
    "<dim dim=\"0\" dim_name=\"bunch time\" units=\"us\"/></channel>");

TYPED_TEST(Description, HasUnitAndAxisFromTheFile) {
  this->add(in_mm);
  const channel_description wave = this->open().describe("WAVE");
  EXPECT_EQ(wave.label, "WAVE");
  EXPECT_EQ(wave.kind, value_kind::spectrum);
  EXPECT_EQ(wave.element, element_type::float32);
  EXPECT_EQ(wave.description, "a wave");
  EXPECT_EQ(wave.unit, "mm");
  EXPECT_EQ(wave.axis_label, "bunch time");
  EXPECT_EQ(wave.axis_unit, "us");
  EXPECT_EQ(wave.dimensions,
            (std::vector<described_dimension>{{column_dimension::sample, 4, "bunch time", "us"}}));
  EXPECT_EQ(wave.axis.start, 0.5f);
  EXPECT_EQ(wave.axis.increment, 2.0f);
  EXPECT_EQ(wave.members, (std::vector<described_member>{{"CH0", "mm"}}));
  EXPECT_EQ(wave.data_types, std::vector<std::int32_t>{TypeParam::single_type});
  EXPECT_DOUBLE_EQ(wave.rate, 10.0);
  EXPECT_TRUE(wave.changes.empty());
  EXPECT_TRUE(wave.problems.empty());
}

TYPED_TEST(Description, TakesTheAxisOfTheDataTypeWhereNoneIsDescribed) {
  this->add(xml_of("<channel prop_name=\"WAVE\" units=\"mm\"/>"));
  const channel_description wave = this->open().describe("WAVE");
  EXPECT_EQ(wave.axis_label, "time");
  EXPECT_EQ(wave.axis_unit, "us");
  EXPECT_EQ(wave.unit, "mm");
}

// Its type says of the axis only that it is described elsewhere.
class DescriptionOfGenericSpectra : public Description<layout_2010> {};
TEST_F(DescriptionOfGenericSpectra, HasNoAxisThatIsNotDescribed) {
  this->add(xml_of("<channel prop_name=\"WAVE\" units=\"mm\"/>"), RAVO_BLOCK_GENERIC_SPECT);
  const channel_description wave = this->open().describe("WAVE");
  EXPECT_EQ(wave.axis_label, "");
  EXPECT_EQ(wave.axis_unit, "");
  EXPECT_EQ(wave.dimensions, (std::vector<described_dimension>{{column_dimension::sample, 4, "", ""}}));
}

TYPED_TEST(Description, ReportsWhatChangesFromFileToFile) {
  this->add(in_mm);
  this->add(in_mm);
  this->add(xml_of(""));  // says nothing, which is no change
  const std::string other =
      this->add(xml_of("<channel prop_name=\"WAVE\" prop_desc=\"a wave\" units=\"um\">"
                       "<dim dim=\"0\" dim_name=\"time\" units=\"us\"/></channel>"),
                RAVO_BLOCK_GENERIC_SPECT);
  const channel_description wave = this->open().describe("WAVE");
  EXPECT_EQ(wave.unit, "mm");
  ASSERT_EQ(wave.changes.size(), 3u);
  for (const description_change& change : wave.changes) EXPECT_EQ(change.path, other);
  EXPECT_EQ(wave.changes[0].part, described_part::unit);
  EXPECT_EQ(wave.changes[0].before, "mm");
  EXPECT_EQ(wave.changes[0].after, "um");
  EXPECT_EQ(wave.changes[1].part, described_part::axis_label);
  EXPECT_EQ(wave.changes[2].part, described_part::data_type);
  EXPECT_EQ(wave.changes[2].after, "RAVO_BLOCK_GENERIC_SPECT");
  EXPECT_EQ(wave.data_types.size(), 2u);
  EXPECT_DOUBLE_EQ(wave.rate, 10.0);  // the gaps between files do not count
}

TYPED_TEST(Description, GoesByAsManyFilesAsAreAskedFor) {
  this->add(in_mm);
  this->add(xml_of("<channel prop_name=\"WAVE\" units=\"um\"/>"));
  describe_options options;
  options.most_files = 1;
  EXPECT_TRUE(this->open().describe("WAVE", options).changes.empty());
  EXPECT_FALSE(this->open().describe("WAVE").changes.empty());
}

TYPED_TEST(Description, SaysWhichDescriptionsCannotBeRead) {
  const std::string bad = this->add("<channel_descriptions version=\"1\"><channel/>");
  this->add(in_mm);
  const channel_description wave = this->open().describe("WAVE");
  EXPECT_EQ(wave.unit, "mm");
  EXPECT_EQ(wave.problems, std::vector<std::string>{bad + ": its channel descriptions are damaged"});
}

TYPED_TEST(Description, DoesWithoutUnitsThatDoNotFitIntoTheMemory) {
  std::string many;
  for (int i = 0; i < 20'000; ++i)
    many += "<channel prop_name=\"X" + std::to_string(i) + "\" units=\"A\"/>";
  const std::string path = this->add(xml_of(many));
  dataset_options options;
  options.memory_limit = 1 << 20;
  const dataset data = dataset::open(of_files(this->paths), options);
  const channel_description wave = data.describe("WAVE");
  EXPECT_EQ(wave.kind, value_kind::spectrum);
  ASSERT_EQ(wave.problems.size(), 1u);
  EXPECT_TRUE(wave.problems.front().starts_with(path + ": its channel descriptions take "));
  EXPECT_LE(data.peak_memory(), options.memory_limit);
}

TYPED_TEST(Description, TakesTheFirstDescriptionOfAName) {
  this->add(xml_of("<channel prop_name=\"WAVE\" units=\"mm\"/><channel prop_name=\"WAVE\" units=\"V\"/>"));
  EXPECT_EQ(this->open().describe("WAVE").unit, "mm");
}

TYPED_TEST(Description, EndsWhenAStopIsRequested) {
  this->add(in_mm);
  std::stop_source source;
  source.request_stop();
  describe_options options;
  options.stop = source.get_token();
  const dataset data = this->open();
  EXPECT_THROW(data.describe("WAVE", options), read_cancelled);
  EXPECT_EQ(data.describe("WAVE").unit, "mm");
  EXPECT_THROW(data.describe("NOPE"), selection_error);
}

TYPED_TEST(Description, OfAChannelWithoutDataHasWhatTheFileSays) {
  handmade_file_of<TypeParam> file;
  file.events = {event_at(1, 0)};
  handmade_channel silent("SILENT");
  silent.dtype_mask = 1u << 6;
  file.channels = {numbers_at<TypeParam>("A", {{0, 1.0f}}), silent};
  file.xml = xml_of("<channel prop_name=\"SILENT\" units=\"V\" prop_desc=\"nothing yet\"/>");
  const dataset data = dataset::open(of_files({write(this->folder, "s.raw", file)}));
  const channel_description one = data.describe("SILENT");
  EXPECT_EQ(one.kind, value_kind::none);
  EXPECT_EQ(one.unit, "V");
  EXPECT_EQ(one.description, "nothing yet");
  EXPECT_EQ(one.data_types, std::vector<std::int32_t>{6});
  EXPECT_EQ(one.rate, 0);
  const dataset_channel& known = data.channels()[*data.find_channel("SILENT")];
  EXPECT_EQ(known.data_types, 1u << 6);
  EXPECT_EQ(known.files, 0u);
  EXPECT_EQ(data.channels()[*data.find_channel("A")].files, 1u);
  EXPECT_EQ(data.channels()[*data.find_channel("A")].event_types, 1u << RAVO_EV_NORMAL);
}

// The first block that can be read decides, as it does for the layout of a column.
template <class layout>
class DescriptionOfDamage : public damaged_file<layout> {};
TYPED_TEST_SUITE(DescriptionOfDamage, layouts);

TYPED_TEST(DescriptionOfDamage, PassesOverBlocksThatCannotBeRead) {
  for (std::size_t i = 0; i < 3; ++i) this->file.channels[1].blocks[i].zip_flags = 4;
  const dataset data = dataset::open(of_files({write(this->folder, "a.raw", this->file)}));
  const channel_description bad = data.describe("BAD");
  EXPECT_EQ(bad.kind, value_kind::spectrum);
  ASSERT_EQ(bad.dimensions.size(), 1u);
  EXPECT_EQ(bad.dimensions[0].size, 300u);
}

TEST(UnitOfMember, IsThatOfTheList) {
  EXPECT_EQ(unit_of_member("mm, mm, nC", 2, 3), "nC");
  EXPECT_EQ(unit_of_member("mm,mm,nC", 1, 3), "mm");
  EXPECT_EQ(unit_of_member("mm", 2, 3), "mm");
  EXPECT_EQ(unit_of_member("mm, nC", 0, 3), "mm, nC");  // a list of another length says nothing of members
  EXPECT_EQ(unit_of_member("MV/m, deg", 1, 0), "deg");
  EXPECT_EQ(unit_of_member("", 1, 2), "");
}

TEST(MemberName, IsThatOfTheDataType) {
  EXPECT_EQ(member_name(RAVO_BLOCK_BPM_2010, 2), "CHARGE");
  EXPECT_EQ(member_name(RAVO_BLOCK_BPM_2010, 3), "CH3");
  EXPECT_EQ(member_name(RAVO_BLOCK_GENERIC_SPECT, 1), "CH1");
  EXPECT_EQ(member_name(0x7777, 0), "CH0");
}

}  // namespace

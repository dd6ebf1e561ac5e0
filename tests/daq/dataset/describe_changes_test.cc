// What descriptions say of files whose values have another shape or other members than those before,
// beside what the events of each file alone show.
#include <gtest/gtest.h>

#include <set>

#include "brute_force.h"
#include "ravo_dataset/member_names.h"

namespace {

using namespace ravo;
using namespace ravo::test;

template <class layout>
class ChangesOfDescription : public testing::Test {
 protected:
  /// A file of one channel with these blocks, a second after the file before.
  std::string add(const std::vector<handmade_block>& blocks) {
    handmade_file_of<layout> file;
    handmade_channel channel("C");
    for (std::uint32_t i = 0; i < blocks.size(); ++i) {
      file.events.push_back(event_at(files * 100 + i + 1, files * 1000 + i * 100));
      channel.blocks.push_back(blocks[i]);
      channel.blocks.back().event = i;
    }
    file.channels = {channel};
    paths.push_back(write(folder, "f" + std::to_string(files++) + ".raw", file));
    return paths.back();
  }
  std::vector<description_change> changes(shape_search how, const std::string& channel = "C") const {
    describe_options options;
    options.shapes = how;
    return dataset::open(of_files(paths, {channel})).describe(channel, options).changes;
  }

  static handmade_block wave(std::size_t members, std::size_t samples) {
    handmade_block block;
    constexpr int of_three = std::is_same_v<layout, layout_2010> ? RAVO_BLOCK_BPM_2010 : RAVO_BLOCK_BPM;
    block.dtype = members == 3 ? of_three : static_cast<int>(layout::single_type);
    block.payload =
        spectrum<layout>(std::vector<std::vector<float>>(members, std::vector<float>(samples, 1.0f)));
    return block;
  }
  static handmade_block list(const std::vector<std::string>& names) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_NAME_VALUE;
    block.payload.i32(1).text("", 80).i32(static_cast<int>(names.size()));
    for (const std::string& name : names) block.payload.text(name, 80).f32(1.5f);
    return block;
  }
  static handmade_block picture(int width, int height) {
    handmade_block block;
    block.dtype = RAVO_BLOCK_IMAGE;
    for (const int word : {width, height, 2, 0, 0, 0, width * height * 2}) block.payload.i32(word);
    block.payload.raw(std::string(static_cast<std::size_t>(width * height * 2), 'x'));
    return block;
  }

  temporary_folder folder;
  std::uint32_t files = 0;
  std::vector<std::string> paths;
};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(ChangesOfDescription, layouts);

void expect_change(const description_change& seen, const std::string& path, described_part part,
                   const std::string& before, const std::string& after) {
  EXPECT_EQ(seen.path, path);
  EXPECT_STREQ(described_part_text(seen.part), described_part_text(part));
  EXPECT_EQ(seen.before, before);
  EXPECT_EQ(seen.after, after);
}

TYPED_TEST(ChangesOfDescription, NameTheFirstFileOfANewShape) {
  this->add({this->wave(1, 4)});
  this->add({this->wave(1, 4)});
  const std::string longer = this->add({this->wave(1, 8)});
  this->add({this->wave(1, 8)});
  const std::string single = this->add({this->wave(1, 1)});
  for (const shape_search how : {shape_search::by_size, shape_search::by_value}) {
    const auto changes = this->changes(how);
    ASSERT_EQ(changes.size(), 2u);
    expect_change(changes[0], longer, described_part::shape, "float32, sample 4", "float32, sample 8");
    expect_change(changes[1], single, described_part::shape, "float32, sample 8", "float32");
  }
}

TYPED_TEST(ChangesOfDescription, NameTypeShapeAndMembersTogether) {
  this->add({this->wave(1, 4)});
  const std::string other = this->add({this->wave(3, 4)});
  const auto changes = this->changes(shape_search::by_size);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[0].part, described_part::data_type);
  expect_change(changes[1], other, described_part::shape, "float32, sample 4",
                "float32, member 3, sample 4");
  expect_change(changes[2], other, described_part::members, member_name(TypeParam::single_type, 0),
                "CHARGE, X, Y");
}

TYPED_TEST(ChangesOfDescription, OfTypesWhoseValuesHaveOneSizeAreFoundBySize) {
  // In the older generation, each member has a mean.
  const std::size_t samples = std::is_same_v<TypeParam, layout_2010> ? 12 : 14;
  const std::string before = "float32, sample " + std::to_string(samples);
  this->add({this->wave(1, samples)});
  const std::string other = this->add({this->wave(3, 4)});
  const dataset data = dataset::open(of_files(this->paths));
  ASSERT_EQ(data.locate("C", 0)->decoded_bytes, data.locate("C", 1)->decoded_bytes);
  const auto changes = this->changes(shape_search::by_size);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(changes[0].part, described_part::data_type);
  expect_change(changes[1], other, described_part::shape, before, "float32, member 3, sample 4");
  EXPECT_EQ(changes[2].part, described_part::members);
}

TYPED_TEST(ChangesOfDescription, AfterATextAreFoundBySize) {
  handmade_block text;
  text.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
  text.payload.text("text", 12);
  this->add({text});
  const std::string other = this->add({this->wave(1, 4)});
  const auto changes = this->changes(shape_search::by_size);
  ASSERT_GE(changes.size(), 2u);
  expect_change(changes[1], other, described_part::shape, "uint8", "float32, sample 4");
}

// The second event of the first file comes after the event of the other one.
TYPED_TEST(ChangesOfDescription, GoByTheBlocksOfEachFileWhereFilesOverlap) {
  handmade_block damaged = zipped(this->wave(1, 4), RAVO_ZIP_ZLIB);
  damaged.zip_flags = 4;
  const auto write_file = [this](const std::string& name, const std::vector<std::uint32_t>& events,
                                 std::vector<handmade_block> blocks) {
    handmade_file_of<TypeParam> file;
    handmade_channel channel("C");
    for (std::size_t i = 0; i < events.size(); ++i) {
      file.events.push_back(event_at(events[i], 100 * events[i]));
      blocks[i].event = i;
      channel.blocks.push_back(blocks[i]);
    }
    file.channels = {channel};
    this->paths.push_back(write(this->folder, name, file));
    return this->paths.back();
  };
  write_file("a.raw", {1, 3}, {damaged, this->wave(1, 4)});
  const std::string other = write_file("b.raw", {2}, {this->wave(1, 8)});
  for (const shape_search how : {shape_search::by_size, shape_search::by_value}) {
    const auto changes = this->changes(how);
    ASSERT_EQ(changes.size(), 1u);
    expect_change(changes[0], other, described_part::shape, "float32, sample 4", "float32, sample 8");
  }
}

TYPED_TEST(ChangesOfDescription, NameTheRecordsThatComeAndGo) {
  this->add({this->list({"A", "B", "B"})});
  this->add({this->list({"B", "A", "B"})});  // another order is no change
  const std::string other = this->add({this->list({"A", "B", "LONGER"})});
  const auto changes = this->changes(shape_search::by_value);
  ASSERT_EQ(changes.size(), 1u);
  expect_change(changes[0], other, described_part::members, "B", "LONGER");
  const std::string fewer = this->add({this->list({"A"})});
  ASSERT_EQ(this->changes(shape_search::by_size).size(), 2u);
  expect_change(this->changes(shape_search::by_size)[0], fewer, described_part::shape, "float32, record 3",
                "float32");
  expect_change(this->changes(shape_search::by_size)[1], fewer, described_part::members, "B, B", "");
}

TYPED_TEST(ChangesOfDescription, OfOneSizeAreFoundByValue) {
  this->add({this->picture(4, 6)});
  const std::string turned = this->add({this->picture(6, 4)});
  EXPECT_TRUE(this->changes(shape_search::by_size).empty());
  const auto changes = this->changes(shape_search::by_value);
  ASSERT_EQ(changes.size(), 1u);
  expect_change(changes[0], turned, described_part::shape, "uint16, y 6, x 4", "uint16, y 4, x 6");
}

TYPED_TEST(ChangesOfDescription, GoByTheFirstValueThatCanBeRead) {
  this->add({this->wave(1, 4)});
  handmade_block damaged = zipped(this->wave(1, 8), RAVO_ZIP_ZLIB);
  damaged.zip_flags = 4;
  this->add({damaged, this->wave(1, 4), this->wave(1, 8)});
  const std::string longer = this->add({damaged, this->wave(1, 16)});
  this->add({damaged});
  for (const shape_search how : {shape_search::by_size, shape_search::by_value}) {
    const auto changes = this->changes(how);
    ASSERT_EQ(changes.size(), 1u);
    expect_change(changes[0], longer, described_part::shape, "float32, sample 4", "float32, sample 16");
  }
}

TYPED_TEST(ChangesOfDescription, OfAMemberAreThoseOfTheMember) {
  this->add({this->wave(3, 4)});
  const std::string longer = this->add({this->wave(3, 6)});
  const auto changes = this->changes(shape_search::by_size, "C:1");
  ASSERT_EQ(changes.size(), 1u);
  expect_change(changes[0], longer, described_part::shape, "float32, sample 4", "float32, sample 6");
}

TYPED_TEST(ChangesOfDescription, ListAFewOfManyNames) {
  std::vector<std::string> names;
  for (int i = 10; i < 40; ++i) names.push_back("N" + std::to_string(i));
  this->add({this->list({"A"})});
  this->add({this->list(names)});
  const auto changes = this->changes(shape_search::by_size);
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(changes[1].before, "A");
  EXPECT_TRUE(changes[1].after.starts_with("N10, N11, "));
  EXPECT_TRUE(changes[1].after.ends_with(", N29 and 10 more"));
}

// ---- beside the events of each file

struct seen_shape {
  std::string shape;
  std::multiset<std::string> members;
};

void add_dimension(seen_shape& seen, const char* name, std::size_t size) {
  if (size != 1) seen.shape += std::string(", ") + name + " " + std::to_string(size);
}

seen_shape shape_of(const value& one) {
  seen_shape seen{"float32", {}};
  std::size_t members = 1;
  switch (one.kind()) {
    case value_kind::spectrum: {
      const spectrum_view view = one.spectrum();
      add_dimension(seen, "member", members = view.members);
      add_dimension(seen, "group", view.groups);
      add_dimension(seen, "sample", view.samples);
      break;
    }
    case value_kind::roi:
      members = 2;
      add_dimension(seen, "profile", one.spectrum().values.size());
      break;
    case value_kind::name_value:
      for (const ravo_name_value_channel& record : one.name_values().records)
        seen.members.insert(record.name);
      add_dimension(seen, "record", seen.members.size());
      return seen;
    case value_kind::image: {
      const image_view view = one.image();
      const std::size_t bytes = view.is_complete() ? view.bytes_per_pixel : 1;
      seen.shape = bytes == 1 ? "uint8" : bytes == 2 ? "uint16" : "uint32";
      if (view.is_complete())
        seen.shape += ", y " + std::to_string(view.height) + ", x " + std::to_string(view.width);
      break;
    }
    case value_kind::text:
    case value_kind::other:
      seen.shape = "uint8";
      break;
    case value_kind::update:
    case value_kind::none:
      break;
  }
  for (std::size_t i = 0; i < members; ++i)
    seen.members.insert(member_name(one.type(), static_cast<int>(i)));
  return seen;
}

/// "FILE: BEFORE > AFTER" of each file whose first value has another shape, and "FILE" of other members.
std::vector<std::string> changes_seen(const std::vector<std::string>& files, const std::string& channel) {
  std::vector<std::string> all;
  std::optional<seen_shape> last;
  for (const std::string& file : files) {
    const dataset data = dataset::open(of_files({file}));
    for (event_range events = data.events(); const event& one : events) {
      const value found = one[channel];
      if (found.status() != value_status::ok) continue;
      const seen_shape now = shape_of(found);
      if (last && last->shape != now.shape) all.push_back(file + ": " + last->shape + " > " + now.shape);
      if (last && last->members != now.members) all.push_back(file);
      last = now;
      break;
    }
  }
  return all;
}

TYPED_TEST(ChangesOfDescription, AreThoseOfTheEventsOfEachFile) {
  std::size_t compared = 0;
  for (unsigned seed = 1; seed <= sets_to_try(20); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed);
    const temporary_folder of_set;
    const std::vector<std::string> kinds = write_kinds<TypeParam>(of_set, random);
    describe_options options;
    options.shapes = shape_search::by_value;
    for (const channel_description& one : dataset::open(of_files(kinds)).describe(options)) {
      SCOPED_TRACE(one.label);
      std::vector<std::string> reported;
      for (const description_change& change : one.changes) {
        if (change.part == described_part::shape)
          reported.push_back(change.path + ": " + change.before + " > " + change.after);
        if (change.part == described_part::members) reported.push_back(change.path);
      }
      EXPECT_EQ(reported, changes_seen(kinds, one.label));
      compared += reported.size();
    }
  }
  EXPECT_GT(compared, 50u);
}

}  // namespace

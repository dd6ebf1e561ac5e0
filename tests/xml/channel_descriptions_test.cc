// Channel descriptions from XML written by hand and into XML read by eye: every field, every refusal,
// and that a refused text leaves nothing behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ravo_xml.h"
#include "ravo_xml_status.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// A list that frees what it holds.
struct description_list {
  std::vector<chan_descr_2010*> channels;
  ~description_list() { ravo_free_chan_descr(&channels); }
};

// The header with its text as a file's table operation hands it out, in memory of the exact size.
struct header_memory {
  explicit header_memory(std::string_view text)
      : memory(new char[sizeof(ravo_xml_chan_descr_header_2010) + text.size()]) {
    header()->pattern = RAVO_XML_CHAN_DESCR_PATTERN;
    header()->length = static_cast<std::int32_t>(sizeof(ravo_xml_chan_descr_header_2010) + text.size());
    std::memcpy(header()->xml(), text.data(), text.size());
  }
  ravo_xml_chan_descr_header_2010* header() {
    return reinterpret_cast<ravo_xml_chan_descr_header_2010*>(memory.get());
  }
  std::unique_ptr<char[]> memory;
};

int load(std::string_view text, description_list& list) {
  return ravo_load_chan_descr(header_memory(text).header(), &list.channels);
}

std::string document(const std::string& channels) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<channel_descriptions version=\"1\">" + channels +
         "</channel_descriptions>\n";
}

constexpr char full_channel[] = R"(
  <channel prop_name="LINAC/BPM1" daq_name="BPM.1" prop_desc="Beam &lt;position&gt; &amp; &#181;" units="mm"
           sb_name="LINAC.SERVER" subsystem="diagnostics" stream="-1" ev_type="4294967295" count="12" dtype="38"
           db_key="11" max_size="4096" set_point="1">
    <!-- comments & <brackets> are skipped -->
    <bit bit="0" bit_name="OK" bit_desc="The reading is valid"/>
    <dim dim="1" dim_name="time" dim_desc="Time in the pulse" units="us">
      <stat stat="2" stat_name="rms" stat_desc="Spread" units="mm"/>
      <stat stat="3" stat_name="max"/>
    </dim>
    <bit bit="-7" bit_name='INTERLOCK'/>
  </channel>
)";

TEST(LoadDescriptions, ReadsEveryField) {
  description_list list;
  ASSERT_EQ(load(document(full_channel), list), 0);
  ASSERT_EQ(list.channels.size(), 1u);
  const chan_descr_2010& channel = *list.channels[0];
  EXPECT_STREQ(channel.prop_name, "LINAC/BPM1");
  EXPECT_STREQ(channel.daq_name, "BPM.1");
  EXPECT_STREQ(channel.prop_desc, "Beam <position> & \xc2\xb5");
  EXPECT_STREQ(channel.units, "mm");
  EXPECT_STREQ(channel.sb_name, "LINAC.SERVER");
  EXPECT_STREQ(channel.subsystem, "diagnostics");
  EXPECT_EQ(channel.stream, -1);
  EXPECT_EQ(channel.ev_type, 4294967295u);
  EXPECT_EQ(channel.count, 12);
  EXPECT_EQ(channel.dtype, 38u);
  EXPECT_EQ(channel.db_key, 11);
  EXPECT_EQ(channel.max_size, 4096);
  EXPECT_EQ(channel.set_point, 1);
  ASSERT_EQ(channel.nbits, 2);
  ASSERT_EQ(channel.bits.size(), 2u);
  EXPECT_EQ(channel.bits[0]->bit, 0);
  EXPECT_STREQ(channel.bits[0]->bit_name, "OK");
  EXPECT_STREQ(channel.bits[0]->bit_desc, "The reading is valid");
  EXPECT_EQ(channel.bits[1]->bit, -7);
  EXPECT_STREQ(channel.bits[1]->bit_name, "INTERLOCK");
  EXPECT_STREQ(channel.bits[1]->bit_desc, "");
  ASSERT_EQ(channel.ndims, 1);
  ASSERT_EQ(channel.dims.size(), 1u);
  const dim_descr& dimension = *channel.dims[0];
  EXPECT_EQ(dimension.dim, 1);
  EXPECT_STREQ(dimension.dim_name, "time");
  EXPECT_STREQ(dimension.dim_desc, "Time in the pulse");
  EXPECT_STREQ(dimension.units, "us");
  ASSERT_EQ(dimension.nstats, 2);
  ASSERT_EQ(dimension.stats.size(), 2u);
  EXPECT_EQ(dimension.stats[0].stat, 2);
  EXPECT_STREQ(dimension.stats[0].stat_name, "rms");
  EXPECT_STREQ(dimension.stats[0].stat_desc, "Spread");
  EXPECT_STREQ(dimension.stats[0].units, "mm");
  EXPECT_STREQ(dimension.stats[1].stat_name, "max");
}

TEST(LoadDescriptions, LeavesAbsentFieldsZeroAndEmpty) {
  description_list list;
  ASSERT_EQ(load(document("<channel prop_name='A'/>"), list), 0);
  const chan_descr_2010& channel = *list.channels.at(0);
  EXPECT_STREQ(channel.daq_name, "");
  EXPECT_EQ(channel.count, 0);
  EXPECT_EQ(channel.nbits, 0);
  EXPECT_EQ(channel.ndims, 0);
  EXPECT_TRUE(channel.bits.empty());
}

TEST(LoadDescriptions, AppendsInTheOrderOfTheText) {
  description_list list;
  ASSERT_EQ(load(document("<channel prop_name='A'/>"), list), 0);
  ASSERT_EQ(load(document("<channel prop_name='B'/><channel prop_name='C'/>"), list), 0);
  ASSERT_EQ(list.channels.size(), 3u);
  EXPECT_STREQ(list.channels[0]->prop_name, "A");
  EXPECT_STREQ(list.channels[2]->prop_name, "C");
}

TEST(LoadDescriptions, AcceptsAFileWithoutChannels) {
  description_list list;
  EXPECT_EQ(load(document(""), list), 0);
  EXPECT_EQ(load("<channel_descriptions version='1'/>", list), 0);
  EXPECT_TRUE(list.channels.empty());
}

TEST(LoadDescriptions, AcceptsZerosAfterTheText) {
  description_list list;
  const std::string text = document("<channel prop_name='A'/>") + std::string(5, '\0');
  EXPECT_EQ(load(text, list), 0);
  EXPECT_EQ(list.channels.size(), 1u);
}

TEST(LoadDescriptions, FillsAFieldToTheLastByteButOne) {
  description_list list;
  ASSERT_EQ(load(document("<channel prop_name='" + std::string(255, 'n') + "' units='" +
                          std::string(15, 'u') + "' subsystem='" + std::string(63, 's') + "'/>"),
                 list),
            0);
  EXPECT_EQ(list.channels.at(0)->prop_name, std::string(255, 'n'));
  EXPECT_EQ(list.channels.at(0)->units, std::string(15, 'u'));
  EXPECT_EQ(list.channels.at(0)->subsystem, std::string(63, 's'));
}

TEST(LoadDescriptions, ResolvesReferencesOfEveryLengthInUtf8) {
  const auto units = [](const std::string& text) {
    description_list list;
    EXPECT_EQ(load("<channel_descriptions version=\"1\"><channel prop_name=\"A\" units=\"" + text +
                       "\"/></channel_descriptions>",
                   list),
              0)
        << text;
    return list.channels.empty() ? std::string() : std::string(list.channels[0]->units);
  };
  EXPECT_EQ(units("&#x7f;"), "\x7f");
  EXPECT_EQ(units("&#128;"), "\xc2\x80");
  EXPECT_EQ(units("&#x7ff;"), "\xdf\xbf");
  EXPECT_EQ(units("&#x800;"), "\xe0\xa0\x80");
  EXPECT_EQ(units("&#xfffd;"), "\xef\xbf\xbd");
  EXPECT_EQ(units("&#x10000;"), "\xf0\x90\x80\x80");
  EXPECT_EQ(units("&#x10ffff;"), "\xf4\x8f\xbf\xbf");
}

TEST(LoadDescriptions, RefusesBytesThatAreNotUtf8) {
  // A byte that continues nothing, one that is missing, too long a form, a surrogate, beyond the last
  // character.
  for (const char* bytes :
       {"\x80", "\xbf", "\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xff"}) {
    description_list list;
    EXPECT_NE(load("<channel_descriptions version=\"1\"><channel prop_name=\"a" + std::string(bytes) +
                       "b\"/></channel_descriptions>",
                   list),
              0);
    EXPECT_TRUE(list.channels.empty());
  }
}

TEST(LoadDescriptions, RefusesWhatIsNotWellFormed) {
  const std::string cases[] = {
      "<channel_descriptions version='1'>",
      "<channel_descriptions version='1'></other>",
      document("<channel prop_name='A'>"),
      document("<channel prop_name='A'"),
      document("<channel prop_name=A/>"),
      document("<channel prop_name='A' \x01/>"),
      document("<channel prop_name='\xff'/>"),
      document("<channel prop_name='\xc0\x80'/>"),
      document("<channel prop_name='\xed\xa0\x80'/>"),
      document(std::string("<channel prop_name='A\0B'/>", 26)),
      "<!DOCTYPE channel_descriptions>" + document(""),
      "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><channel_descriptions version='1'>"
      "<channel prop_name='&e;'/></channel_descriptions>",
  };
  for (const std::string& text : cases) {
    description_list list;
    EXPECT_EQ(load(text, list), RAVO_XML_NOT_WELL_FORMED) << text;
    EXPECT_TRUE(list.channels.empty()) << text;
  }
}

TEST(LoadDescriptions, RefusesWhatIsNotOfTheSchema) {
  const std::string cases[] = {
      "",
      "beam",
      "<descriptions version='1'/>",
      "<channel_descriptions/>",
      "<channel_descriptions version='2'/>",
      "<channel_descriptions version='1' more='1'/>",
      document("") + "behind",
      "before" + document(""),
      "<channel_descriptions version='1'/><channel_descriptions version='1'/>",
      document("text"),
      document("<![CDATA[text]]>"),
      document("<channels prop_name='A'/>"),
      document("<channel/>"),
      document("<channel prop_name=''/>"),
      document("<channel prop_name='A' prop_name='B'/>"),
      document("<channel prop_name='A' colour='red'/>"),
      document("<channel prop_name='A'>text</channel>"),
      document("<channel prop_name='A'><channel prop_name='B'/></channel>"),
      document("<channel prop_name='A'><stat stat='1'/></channel>"),
      document("<channel prop_name='A'><bit/></channel>"),
      document("<channel prop_name='A'><bit bit='1'><bit bit='2'/></bit></channel>"),
      document("<channel prop_name='A'><dim dim='1'><bit bit='2'/></dim></channel>"),
      document("<channel prop_name='A'><dim dim='1'><stat stat='2'>t</stat></dim></channel>"),
      document("<channel prop_name='A' count='1.5'/>"),
      document("<channel prop_name='A' count=''/>"),
      document("<channel prop_name='A' count=' 1'/>"),
      document("<channel prop_name='A' count='+1'/>"),
      document("<channel prop_name='A' count='0x1'/>"),
      document("<channel prop_name='A' count='2147483648'/>"),
      document("<channel prop_name='A' dtype='-1'/>"),
      document("<channel prop_name='A' dtype='4294967296'/>"),
      document("<channel prop_name='" + std::string(256, 'n') + "'/>"),
      document("<channel prop_name='A' units='" + std::string(16, 'u') + "'/>"),
      document("<channel prop_name='A'><bit bit='1' bit_name='" + std::string(64, 'b') + "'/></channel>"),
      document("<channel prop_name='&unknown;'/>"),
      document("<channel prop_name='A&B'/>"),
      document("<channel prop_name='A&#0;B'/>"),
      document("<channel prop_name='&#1;'/>"),
      document("<channel prop_name='&#xd800;'/>"),
      document("<channel prop_name='&#x110000;'/>"),
      document("<channel prop_name='&#99999999999;'/>"),
      document("<channel prop_name='&#;'/>"),
      document("<channel prop_name='&#x;'/>"),
      document("<channel prop_name='A<B'/>"),
  };
  for (const std::string& text : cases) {
    description_list list;
    EXPECT_EQ(load(text, list), RAVO_XML_NOT_OF_SCHEMA) << text;
    EXPECT_TRUE(list.channels.empty()) << text;
  }
}

TEST(LoadDescriptions, LeaveTheListAsItWasWhenTheLastChannelIsWrong) {
  description_list list;
  ASSERT_EQ(load(document("<channel prop_name='A'/>"), list), 0);
  chan_descr_2010* const kept = list.channels[0];
  EXPECT_NE(load(document(std::string(full_channel) + full_channel + "<channel/>"), list), 0);
  ASSERT_EQ(list.channels.size(), 1u);
  EXPECT_EQ(list.channels[0], kept);
}

TEST(LoadDescriptions, RefusesWrongArguments) {
  description_list list;
  header_memory good(document(""));
  EXPECT_EQ(ravo_load_chan_descr(nullptr, &list.channels), RAVO_XML_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_load_chan_descr(good.header(), nullptr), RAVO_XML_INVALID_ARGUMENT);
  good.header()->length = 7;
  EXPECT_EQ(ravo_load_chan_descr(good.header(), &list.channels), RAVO_XML_INVALID_ARGUMENT);
  good.header()->length = -1;
  EXPECT_EQ(ravo_load_chan_descr(good.header(), &list.channels), RAVO_XML_INVALID_ARGUMENT);
  header_memory other(document(""));
  other.header()->pattern = RAVO_ENV_DICTIONARY_PATTERN;
  EXPECT_EQ(ravo_load_chan_descr(other.header(), &list.channels), RAVO_XML_INVALID_ARGUMENT);
}

TEST(LoadDescriptions, SurvivesDeepNesting) {
  std::string text = "<channel_descriptions version='1'>";
  constexpr int depth = 200000;
  for (int i = 0; i < depth; ++i) text += "<channel prop_name='A'>";
  description_list list;
  EXPECT_NE(load(text, list), 0);
  for (int i = 0; i < depth; ++i) text += "</channel>";
  text += "</channel_descriptions>";
  EXPECT_EQ(load(text, list), RAVO_XML_NOT_OF_SCHEMA);
  EXPECT_TRUE(list.channels.empty());
}

TEST(LoadDescriptions, RefusesMoreTextThanAFileNeeds) {
  description_list list;
  const std::string text = document("") + std::string(std::size_t{64} << 20, ' ');
  EXPECT_EQ(load(text, list), RAVO_XML_TOO_LONG);
}

TEST(LoadDescriptions, SurvivesEveryTruncationAndEveryOverwrittenByte) {
  const std::string text = document(full_channel);
  for (std::size_t length = 0; length < text.rfind('>'); ++length) {
    description_list list;
    EXPECT_NE(load(text.substr(0, length), list), 0) << length;
    EXPECT_TRUE(list.channels.empty());
  }
  for (std::size_t at = 0; at < text.size(); ++at)
    for (const char byte : {'\0', '<', '>', '&', '"', 'x', ' ', '\xff'}) {
      std::string damaged = text;
      damaged[at] = byte;
      description_list list;
      if (load(damaged, list) == 0) {
        // Only what a text, a number or a comment may hold can change without being noticed.
        ASSERT_EQ(list.channels.size(), 1u);
        EXPECT_EQ(static_cast<std::size_t>(list.channels[0]->nbits), list.channels[0]->bits.size());
        EXPECT_EQ(static_cast<std::size_t>(list.channels[0]->ndims), list.channels[0]->dims.size());
      } else {
        EXPECT_TRUE(list.channels.empty());
      }
    }
}

chan_descr_2010* new_channel() {
  auto* channel = new chan_descr_2010{};
  std::strcpy(channel->prop_name, "LINAC/\"BPM1\" <&> 'x'");
  std::strcpy(channel->prop_desc, "two\tlines\nof text");
  std::strcpy(channel->units, "\xc2\xb5m");
  channel->stream = -5;
  channel->ev_type = 0xffffffffu;
  channel->dtype = 38;
  channel->bits.push_back(new bit_descr{3, "OK", "valid"});
  channel->nbits = 1;
  channel->dims.push_back(new dim_descr{1, "time", "in the pulse", "us", 1, {{2, "rms", "spread", "mm"}}});
  channel->ndims = 1;
  return channel;
}

TEST(StoreDescriptions, WritesTheSchema) {
  description_list list;
  auto* channel = new chan_descr_2010{};
  std::strcpy(channel->prop_name, "A&B");
  channel->count = -3;
  channel->dims.push_back(new dim_descr{1, "time", "", "us", 1, {{2, "rms", "", "mm"}}});
  channel->bits.push_back(new bit_descr{0, "OK", ""});
  list.channels = {channel};
  EXPECT_EQ(ravo_store_chan_descr(list.channels),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<channel_descriptions version=\"1\">\n"
            "  <channel prop_name=\"A&amp;B\" daq_name=\"\" prop_desc=\"\" units=\"\" sb_name=\"\" "
            "subsystem=\"\" stream=\"0\" ev_type=\"0\" count=\"-3\" dtype=\"0\" db_key=\"0\" "
            "max_size=\"0\" set_point=\"0\">\n"
            "    <bit bit=\"0\" bit_name=\"OK\" bit_desc=\"\" />\n"
            "    <dim dim=\"1\" dim_name=\"time\" dim_desc=\"\" units=\"us\">\n"
            "      <stat stat=\"2\" stat_name=\"rms\" stat_desc=\"\" units=\"mm\" />\n"
            "    </dim>\n"
            "  </channel>\n"
            "</channel_descriptions>\n");
}

TEST(StoreDescriptions, WritesARootForNoChannels) {
  EXPECT_EQ(ravo_store_chan_descr({}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<channel_descriptions version=\"1\" />\n");
  EXPECT_EQ(ravo_store_chan_descr({nullptr}), ravo_store_chan_descr({}));
}

TEST(StoreDescriptions, ComeBackWithEveryCharacter) {
  description_list stored, loaded;
  stored.channels = {new_channel()};
  ASSERT_EQ(load(ravo_store_chan_descr(stored.channels), loaded), 0);
  const chan_descr_2010& channel = *loaded.channels.at(0);
  EXPECT_STREQ(channel.prop_name, "LINAC/\"BPM1\" <&> 'x'");
  EXPECT_STREQ(channel.prop_desc, "two\tlines\nof text");
  EXPECT_STREQ(channel.units, "\xc2\xb5m");
  EXPECT_EQ(channel.stream, -5);
  EXPECT_EQ(channel.ev_type, 0xffffffffu);
  EXPECT_STREQ(channel.bits.at(0)->bit_desc, "valid");
  EXPECT_STREQ(channel.dims.at(0)->stats.at(0).stat_desc, "spread");
}

TEST(StoreDescriptions, PutsAQuestionMarkForWhatXmlCannotHold) {
  description_list stored, loaded;
  stored.channels = {new chan_descr_2010{}};
  std::strcpy(stored.channels[0]->prop_name,
              "a\x01"
              "b\xff"
              "c\xc3");
  std::memset(stored.channels[0]->units, 'u', sizeof stored.channels[0]->units);
  ASSERT_EQ(load(ravo_store_chan_descr(stored.channels), loaded), 0);
  EXPECT_STREQ(loaded.channels.at(0)->prop_name, "a?b?c?");
  EXPECT_EQ(loaded.channels.at(0)->units, std::string(15, 'u'));
}

TEST(FreeDescriptions, EmptiesTheList) {
  std::vector<chan_descr_2010*> list = {new_channel(), nullptr, new_channel()};
  ravo_free_chan_descr(&list);
  EXPECT_TRUE(list.empty());
  ravo_free_chan_descr(nullptr);
}

}  // namespace

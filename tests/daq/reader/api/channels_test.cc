// The channel list: how request texts are split, and how channels are added, removed and looked up.
#include "scripted_reader.h"

namespace ravo::test {
namespace {

template <class generation>
class Channels : public scripted_reader<generation> {
 protected:
  int set(std::vector<std::string> names) {
    std::vector<daq_channel_entry> kept;
    for (std::string& name : names) kept.push_back({name.data(), {}});
    std::vector<daq_channel_entry*> wanted;
    for (daq_channel_entry& channel : kept) wanted.push_back(&channel);
    return this->reader.set_channels(&wanted);
  }
  /// "name/subchan/nickname" of a channel.
  std::string channel(std::size_t position) const {
    const auto& entry = this->reader.results.at(position)->chan;
    return std::string(entry.name) + "/" + std::to_string(entry.subchan) + "/" + entry.nname;
  }
  /// Adds one channel to an empty list and returns it.
  std::string split(const char* text) {
    this->reader.clean_up();
    EXPECT_EQ(this->add(text), 0);
    return channel(0);
  }
};
TYPED_TEST_SUITE(Channels, generations, generation_name);

TYPED_TEST(Channels, ANameMayCarrySubchannelAndNickname) {
  EXPECT_EQ(this->split("CH:3;nick"), "CH/3/nick");
  EXPECT_EQ(this->split("CH:3"), "CH/3/");
  EXPECT_EQ(this->split("CH;nick"), "CH/-1/nick");
  EXPECT_EQ(this->split("CH"), "CH/-1/");
}

TYPED_TEST(Channels, OnlyTheFirstSeparatorsCount) {
  EXPECT_EQ(this->split("CH:3:4"), "CH/3/");
  EXPECT_EQ(this->split("CH:3;a;b"), "CH/3/a;b");
  EXPECT_EQ(this->split("CH;a:5"), "CH/-1/a:5") << "a colon of the nickname is the nickname's";
}

TYPED_TEST(Channels, ASubchannelIsADecimalNumber) {
  EXPECT_EQ(this->split("CH:010"), "CH/10/");
  EXPECT_EQ(this->split("CH:x"), "CH/0/");
  EXPECT_EQ(this->split("CH:"), "CH/0/");
  EXPECT_EQ(this->split("CH:-2"), "CH/-2/");
  EXPECT_EQ(this->split("CH:99999999999999999999"), "CH/2147483647/");
  EXPECT_EQ(this->split("CH:-99999999999999999999"), "CH/-2147483648/");
  EXPECT_EQ(this->split(":3"), "/3/");
}

TYPED_TEST(Channels, OfATextTwoHundredFiftyFiveCharactersAreReadAndWhatFitsIsKept) {
  const std::size_t name = either<TypeParam>(255, 79), nickname = either<TypeParam>(254, 79);
  EXPECT_EQ(this->split(std::string(300, 'n').c_str()), std::string(name, 'n') + "/-1/");
  EXPECT_EQ(this->split((std::string(250, 'n') + ":123456789").c_str()),
            std::string(std::min<std::size_t>(name, 250), 'n') + "/1234/");
  EXPECT_EQ(this->split((";" + std::string(300, 'k')).c_str()), "/-1/" + std::string(nickname, 'k'));
}

// The subchannel of a long name is not lost with the end of the name's field.
TYPED_TEST(Channels, AKeyIsFormedInItsBuffer) {
  const std::string name(78, 'n');
  ASSERT_EQ(this->add((name + ":12").c_str()), 0);
  EXPECT_EQ(this->channel(0), name + "/12/");
  EXPECT_EQ(this->reader.get_channel_params((name + ":12").c_str()) != nullptr,
            either<TypeParam>(true, false));
  EXPECT_EQ(this->reader.get_channel_params((name + ":").c_str()) != nullptr,
            either<TypeParam>(false, true));
}

TYPED_TEST(Channels, ParametersAreCopied) {
  std::string name = "CH:1";
  daq_channel_entry entry{name.data(), {1, 2, 3, 4, 5.5f, 6.5f, 7.5f}};
  ASSERT_EQ(this->reader.add_channel(&entry), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  name.assign("other");
  const ravo_chan_prms& kept = this->reader.results[0]->chan.prms;
  EXPECT_EQ(kept.start, 1);
  EXPECT_EQ(kept.inc, 2);
  EXPECT_EQ(kept.length, 3);
  EXPECT_EQ(kept.func, 4);
  EXPECT_EQ(kept.tstart, 5.5f);
  EXPECT_EQ(kept.tinc, 6.5f);
  EXPECT_EQ(kept.tlength, 7.5f);
  EXPECT_STREQ(this->reader.results[0]->chan.name, "CH");
  EXPECT_EQ(this->reader.results[0]->slow, 0);
  EXPECT_EQ(this->reader.results[0]->updated, 0);
  EXPECT_EQ(this->reader.results[0]->data, nullptr);
  EXPECT_EQ(static_cast<void*>(this->reader.chans.at(0)), static_cast<void*>(this->reader.results[0]));
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(Channels, AChannelIsAddedOnce) {
  ASSERT_EQ(this->add("CH:3;nick"), 0);
  this->reader.set_error(RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_EQ(this->add("CH:3;nick"), 0);
  EXPECT_EQ(this->add("CH:3;other"), 0);
  EXPECT_EQ(this->reader.results.size(), 1u);
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format") << "and no status is set";
  EXPECT_EQ(this->add("CH:4"), 0);
  EXPECT_EQ(this->add("CH"), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 3);
}

TYPED_TEST(Channels, NullAndEmptyNamesAreRefused) {
  daq_channel_entry nameless{nullptr, {}};
  EXPECT_EQ(this->reader.add_channel(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->reader.add_channel(&nameless), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->add(""), RAVO_DAQ_READER_INV_PARAM);
}

TYPED_TEST(Channels, ANullAmongTheResultsIsAnInternalError) {
  this->reader.results.push_back(nullptr);
  EXPECT_EQ(this->add("A"), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
}

TYPED_TEST(Channels, SetChannelsAddsThemInOrder) {
  EXPECT_EQ(this->set({"A", "B:1", "C;c"}), 0);
  EXPECT_EQ(this->channel(0), "A/-1/");
  EXPECT_EQ(this->channel(1), "B/1/");
  EXPECT_EQ(this->channel(2), "C/-1/c");
  EXPECT_EQ(this->reader.get_number_of_channels(), 3);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(Channels, SetChannelsCountsRepeatedNamesToo) {
  EXPECT_EQ(this->set({"A", "B", "A"}), 0);
  EXPECT_EQ(this->reader.results.size(), 2u);
  EXPECT_EQ(this->reader.get_number_of_channels(), 3);
  EXPECT_STREQ(this->reader.get_channel_name(1, nullptr), "B");
  EXPECT_EQ(this->reader.get_channel_name(2, nullptr), nullptr);
  this->reader.clean_up();
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
}

TYPED_TEST(Channels, SetChannelsNeedsChannels) {
  EXPECT_EQ(this->reader.set_channels(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_EQ(this->set({}), RAVO_DAQ_READER_INV_PARAM);
}

TYPED_TEST(Channels, SetChannelsStopsAtTheFirstRefusal) {
  EXPECT_EQ(this->set({"A", "", "B"}), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.results.size(), 1u);
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(Channels, AChannelIsRemovedByNameAndSubchannel) {
  ASSERT_EQ(this->set({"A", "B:1;nick", "B"}), 0);
  EXPECT_EQ(this->reader.rem_channel("B:1"), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  ASSERT_EQ(this->reader.results.size(), 2u);
  EXPECT_EQ(this->channel(1), "B/-1/");
  EXPECT_EQ(static_cast<void*>(this->reader.chans.at(1)), static_cast<void*>(this->reader.results[1]));
  EXPECT_EQ(this->reader.get_number_of_channels(), 2);
  EXPECT_EQ(this->reader.rem_channel("B"), 0);
  EXPECT_EQ(this->reader.rem_channel("A"), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(), 0);
}

TYPED_TEST(Channels, RemovingAnUnknownChannelIsNotFound) {
  ASSERT_EQ(this->set({"A:1"}), 0);
  EXPECT_EQ(this->reader.rem_channel("A"), RAVO_DAQ_READER_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Channel not found");
  EXPECT_EQ(this->reader.rem_channel("A:2"), RAVO_DAQ_READER_NOT_FOUND);
  EXPECT_EQ(this->reader.rem_channel(nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.rem_channel(""), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(Channels, ParametersAreFoundByNicknameAndByKey) {
  ASSERT_EQ(this->set({"A", "B:1;nick", "C:-2"}), 0);
  EXPECT_EQ(this->reader.get_channel_params("A"), &this->reader.results[0]->chan.prms);
  EXPECT_EQ(this->reader.get_channel_params("nick"), &this->reader.results[1]->chan.prms);
  EXPECT_EQ(this->reader.get_channel_params("B:1"), &this->reader.results[1]->chan.prms);
  EXPECT_EQ(this->reader.get_channel_params("C"), &this->reader.results[2]->chan.prms);
  EXPECT_EQ(this->reader.get_channel_params("B"), nullptr);
  EXPECT_EQ(this->reader.get_channel_params("A:-1"), nullptr);
  EXPECT_EQ(this->reader.get_channel_params(""), nullptr);
  EXPECT_EQ(this->reader.get_channel_params(nullptr), nullptr);
}

TYPED_TEST(Channels, WithoutChannelsThereAreNoParameters) {
  EXPECT_EQ(this->reader.get_channel_params("A"), nullptr);
  EXPECT_EQ(this->reader.get_nickname("A"), nullptr);
}

TYPED_TEST(Channels, NicknamesAreFoundByKey) {
  ASSERT_EQ(this->set({"A;whole", "B:1;nick", "C", "D:-2;odd"}), 0);
  EXPECT_STREQ(this->reader.get_nickname("A"), "whole");
  EXPECT_STREQ(this->reader.get_nickname("B:1"), "nick");
  EXPECT_EQ(this->reader.get_nickname("B"), nullptr);
  EXPECT_EQ(this->reader.get_nickname("C"), nullptr);
  EXPECT_EQ(this->reader.get_nickname("nick"), nullptr);
  EXPECT_STREQ(this->reader.get_nickname("D:-2"), "odd");
  EXPECT_EQ(this->reader.get_nickname(""), nullptr);
  EXPECT_EQ(this->reader.get_nickname(nullptr), nullptr);
}

}  // namespace
}  // namespace ravo::test

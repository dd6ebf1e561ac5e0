// Looking into a single file: counts, descriptions, index and headers, what is said when it fails, and what
// it does to the reader's own lists.
#include "requested_reader.h"

#include <fstream>

namespace ravo::test {
namespace {

class Inspection : public requested_reader {
 protected:
  Inspection() { reader.set_data_dir(""); }
  /// A dictionary of channels with these names and as many events as their position says; `length_word` counts
  /// more or fewer bytes than there are when it is given.
  void load_dictionary(const names& channels, int length_word = -1) {
    memory.assign((sizeof(ravo_chan_dictionary_table_2010) + channels.size() * sizeof(ravo_chan_dictionary_entry_2010)) / 4, 0);
    auto* table = reinterpret_cast<ravo_chan_dictionary_table_2010*>(memory.data());
    table->pattern = RAVO_CHAN_DICTIONARY_PATTERN;
    table->length = length_word >= 0 ? length_word : static_cast<int>(memory.size() * 4);
    for (std::size_t i = 0; i < channels.size(); ++i) {
      std::strcpy(table->channel_entry()[i].chan_name, channels[i].c_str());
      table->channel_entry()[i].count = static_cast<int>(i) + 10;
    }
    the_loader.cdt_tab = table;
  }
  std::string print(void (daq_reader<scripted_generation>::*printer)(const char*, const char*), const char* file,
                    const char* channel) {
    captured_output captured;
    (reader.*printer)(file, channel);
    return captured.stop();
  }
  std::string print_event_headers(const char* file, const char* channel) {
    return print(&daq_reader<scripted_generation>::print_channel_event_headers, file, channel);
  }
  int print_index(const char* file, int type) {
    captured_output captured;
    const int status = reader.print_event_index_table(file, type);
    output = captured.stop();
    return status;
  }
  static inline const std::string who = "ravo_daq_reader_2010::print_channel_event_headers() ";
  std::vector<std::uint32_t> memory;
  int count = -1;
};

// ---- the reader's own lists -----------------------------------------------------------------------

TEST_F(Inspection, FilesAreNumberedFromOne) {
  captured_output captured;
  reader.print_files();
  EXPECT_EQ(captured.text(), "========== READER files ==============\n========== READER files END ==========\n");
  reader.add_file("/x/a.raw", true);
  reader.add_file("/x/b.raw", true);
  reader.print_files();
  EXPECT_EQ(captured.stop().substr(78),
            "========== READER files ==============\n[1] /x/a.raw\n[2] /x/b.raw\n"
            "========== READER files END ==========\n");
}

TEST_F(Inspection, ChannelsArePrintedWithTheirParameters) {
  char first[] = "BPM:2;nick", second[] = "TOR";
  daq_channel_entry one{first, {1, 2, 3, 0x1f, 0.5f, 0.25f, 100.0f}}, two{second, {}};
  reader.add_channel(&one);
  reader.add_channel(&two);
  captured_output captured;
  reader.print_channels();
  EXPECT_EQ(captured.stop(),
            "========== READER channels ==============\n"
            "[1] BPM:2 -> nick\tparams:\tstart:1\tsamples:3\tinc:2\ttstart:0.500000\ttsamples:100.000000\t"
            "tinc:0.250000\tfunc:0x1f\n"
            "[2] TOR:-1\tparams:\tstart:0\tsamples:0\tinc:0\ttstart:0.000000\ttsamples:0.000000\t"
            "tinc:0.000000\tfunc:0x0\n"
            "========== READER channels END ==========\n");
}

TEST_F(Inspection, ANullAmongTheResultsIsPassedOver) {
  reader.results.push_back(nullptr);
  captured_output captured;
  reader.print_channels();
  EXPECT_EQ(captured.stop(),
            "========== READER channels ==============\n========== READER channels END ==========\n");
}

// ---- counting -------------------------------------------------------------------------------------

TEST_F(Inspection, CountsTheChannelsOfAFile) {
  load_dictionary({"A", "B", "C"});
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), 0);
  EXPECT_EQ(count, 3);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_EQ(the_loader.loaded, names{"/x/a.raw"});
  EXPECT_EQ(the_loader.descr_mode, 0);
  EXPECT_EQ(reader.get_number_of_files(), 0) << "the file is gone again";
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 1), 0);
  EXPECT_EQ(the_loader.descr_mode, 1);
}

TEST_F(Inspection, TheCountIsRoundedDown) {
  load_dictionary({"A", "B"}, 8 + 2 * 272 - 1);
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), 0);
  EXPECT_EQ(count, 1);
}

TEST_F(Inspection, CountsOnlyWhatItIsAskedFor) {
  EXPECT_EQ(reader.get_number_of_channels(nullptr, &count, 0), -7);
  EXPECT_EQ(reader.get_number_of_channels("", &count, 0), -7);
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", nullptr, 0), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TEST_F(Inspection, AnEmptyDictionaryHasNoData) {
  load_dictionary({}, 8);
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_EQ(count, -1);
  load_dictionary({}, 0);
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -1);
}

TEST_F(Inspection, WithoutADictionarySomethingIsWrong) {
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -6);
  load_dictionary({"A"});
  the_loader.cdt_tab->pattern = 1;
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -6);
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

TEST_F(Inspection, AnUnreadableFileHasNoData) {
  the_loader.status = 2;
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

TEST_F(Inspection, AMissingFileIsNotFound) {
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(reader.get_number_of_channels("/nowhere/a.raw", &count, 0), -10);
  EXPECT_STREQ(reader.get_last_error(), "Files not found");
}

TEST_F(Inspection, AFileIsFoundAlongTheDataPaths) {
  reader.set_data_path_list("/p:/q");
  load_dictionary({"A"});
  EXPECT_EQ(reader.get_number_of_channels("a.raw", &count, 0), 0);
  EXPECT_EQ(the_loader.loaded, names{"/p/a.raw"});
}

TEST_F(Inspection, CountingUsesTheReadersOwnChannels) {
  add("BPM");
  load_dictionary({"A"});
  reader.get_number_of_channels("/x/a.raw", &count, 0);
  EXPECT_EQ(the_loader.names, names{"BPM"});
  EXPECT_EQ(reader.get_number_of_channels(), 1);
}

TEST_F(Inspection, AStartedReaderLooksIntoNoOtherFile) {
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), -8);
  EXPECT_EQ(print_index("/x/a.raw", -1), -8);
  EXPECT_EQ(print_event_headers("/x/a.raw", "A"), who + "check if file: /x/a.raw accesible\n");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TEST_F(Inspection, TheFileGoesInFrontAndTheLastPathWithItsTextLeaves) {
  reader.add_file("/x/aa.raw", true);
  load_dictionary({"A"});
  reader.set_data_path_list("/y");
  ASSERT_EQ(reader.get_number_of_channels("a.raw", &count, 0), 0);
  EXPECT_EQ(the_loader.loaded, names{"/y/a.raw"}) << "the first path with the text";
  EXPECT_EQ(files(), names{"a.raw"}) << "the last path with the text is gone, on purpose";
}

TEST_F(Inspection, TheTablesStayLoaded) {
  load_dictionary({"A", "B"});
  ASSERT_EQ(reader.get_number_of_channels("/x/a.raw", &count, 0), 0);
  int events = 0;
  EXPECT_STREQ(reader.get_channel_name(1, &events, nullptr, nullptr), "B");
  EXPECT_EQ(events, 11);
}

TEST_F(Inspection, TheWholeDictionaryIsPrinted) {
  load_dictionary({"A", "B"});
  captured_output captured;
  reader.print_all_channels("/x/a.raw");
  const std::string printed = captured.text();
  EXPECT_NE(printed.find("\"A\""), std::string::npos);
  EXPECT_NE(printed.find("\"B\""), std::string::npos);
  the_loader.status = 2;
  reader.print_all_channels("/x/a.raw");
  reader.print_all_channels(nullptr);
  EXPECT_EQ(captured.stop(), printed) << "nothing of what failed";
}

// ---- descriptions ---------------------------------------------------------------------------------

class Descriptions : public Inspection {
 protected:
  void describe(const char* name) {
    chan_descr_2010& description = kept.emplace_back();
    std::strcpy(description.prop_name, name);
    reader.get_tables.descriptions.push_back(&description);
  }
  std::deque<chan_descr_2010> kept;
  std::vector<chan_descr_2010*> found;
};

TEST_F(Descriptions, ComeInTheirOrderWithTheCountsOfTheDictionary) {
  load_dictionary({"A", "B", "C"});
  describe("C");
  describe("unknown");
  describe("A");
  ASSERT_EQ(reader.fill_chan_descr("/x/a.raw", &found), 0);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_STREQ(found[0]->prop_name, "C");
  EXPECT_EQ(found[0]->count, 12);
  EXPECT_STREQ(found[1]->prop_name, "A");
  EXPECT_EQ(found[1]->count, 10);
  EXPECT_EQ(the_loader.descr_mode, 1);
  EXPECT_STREQ(reader.get_last_error(), "OK");
}

TEST_F(Descriptions, AreAppended) {
  load_dictionary({"A"});
  describe("A");
  ASSERT_EQ(reader.fill_chan_descr("/x/a.raw", &found), 0);
  ASSERT_EQ(reader.fill_chan_descr("/x/a.raw", &found), 0);
  EXPECT_EQ(found.size(), 2u);
}

TEST_F(Descriptions, OfChannelsNamedTwiceTheFirstEntryCounts) {
  load_dictionary({"A", "A"});
  describe("A");
  ASSERT_EQ(reader.fill_chan_descr("/x/a.raw", &found), 0);
  EXPECT_EQ(found.at(0)->count, 10);
}

// The bound counts in units of 96, so that it would admit entries far behind the table's end.
TEST_F(Descriptions, TheSearchEndsWithTheTable) {
  names channels;
  for (int i = 0; i < 96; ++i) channels.push_back("C" + std::to_string(i));
  load_dictionary(channels);
  describe("C95");
  describe("C96");
  ASSERT_EQ(reader.fill_chan_descr("/x/a.raw", &found), 0);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0]->count, 105);
}

TEST_F(Descriptions, AreRefusedForNothing) {
  EXPECT_EQ(reader.fill_chan_descr(nullptr, &found), -7);
  EXPECT_EQ(reader.fill_chan_descr("", &found), -7);
  EXPECT_EQ(reader.fill_chan_descr("/x/a.raw", nullptr), -7);
  EXPECT_STREQ(reader.get_last_error(), "Invalid Parameter");
}

TEST_F(Descriptions, AFileWithoutThemHasNoData) {
  load_dictionary({"A"});
  EXPECT_EQ(reader.fill_chan_descr("/x/a.raw", &found), -1);
  EXPECT_STREQ(reader.get_last_error(), "No required data");
}

TEST_F(Descriptions, AFileThatCannotBeCountedHasItsStatus) {
  EXPECT_EQ(reader.fill_chan_descr("/x/a.raw", &found), -6);
  load_dictionary({}, 8);
  EXPECT_EQ(reader.fill_chan_descr("/x/a.raw", &found), -1);
  EXPECT_TRUE(found.empty());
}

// ---- the event index ------------------------------------------------------------------------------

class EventIndex : public Inspection {
 protected:
  /// An index with an entry of one event for each type.
  void load_index(const std::vector<int>& types) {
    memory = {RAVO_EVENT_INDEX_PATTERN, static_cast<std::uint32_t>(types.size())};
    for (const int type : types) {
      for (const int word : {type, 100, 0, 200, 0, 1, 2, 1}) memory.push_back(static_cast<std::uint32_t>(word));
      memory.insert(memory.end(), {100, 0, 77, 4096});
    }
    the_loader.eit_tab = reinterpret_cast<ravo_event_index_table_2010*>(memory.data());
  }
  int count_of(const std::string& text) const {
    int found = 0;
    for (std::size_t at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) ++found;
    return found;
  }
};

TEST_F(EventIndex, AllEntriesArePrintedForANegativeType) {
  load_index({1, 4, 5});
  EXPECT_EQ(print_index("/x/a.raw", -1), 0);
  EXPECT_EQ(count_of("event index entry:"), 3);
  EXPECT_EQ(count_of("event 77"), 3);
  for (const char* name : {"RAVO_EV_NORMAL", "RAVO_EV_ENV", "RAVO_EV_UPD"}) EXPECT_EQ(count_of(name), 1) << name;
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_STREQ(reader.get_last_error(), "OK");
  EXPECT_FALSE(the_loader.was_given_channels);
}

TEST_F(EventIndex, OneEntryIsPrintedForAType) {
  load_index({1, 4, 5});
  EXPECT_EQ(print_index("/x/a.raw", 4), 0);
  EXPECT_EQ(count_of("event index entry:"), 1);
  EXPECT_EQ(count_of("RAVO_EV_ENV"), 1);
  EXPECT_EQ(print_index("/x/a.raw", 7), 0);
  EXPECT_EQ(output, "");
}

TEST_F(EventIndex, WhatIsWrongWithItIsTold) {
  EXPECT_EQ(print_index("/x/a.raw", -1), -6);
  EXPECT_EQ(output, "No event index table\n");
  load_index({1});
  memory[0] = 3;
  EXPECT_EQ(print_index("/x/a.raw", -1), -6);
  EXPECT_EQ(output, "Wrong pattern for index table\n");
  EXPECT_STREQ(reader.get_last_error(), "Intern error");
  load_index({});
  EXPECT_EQ(print_index("/x/a.raw", -1), -1);
  EXPECT_EQ(output, "No events in event index table\n");
  EXPECT_STREQ(reader.get_last_error(), "No required data");
}

TEST_F(EventIndex, AFileThatIsNotThereHasNone) {
  EXPECT_EQ(print_index(nullptr, -1), -7);
  EXPECT_EQ(print_index("", -1), -7);
  the_loader.status = 2;
  EXPECT_EQ(print_index("/x/a.raw", -1), -1);
  EXPECT_EQ(reader.get_number_of_files(), 0);
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(print_index("/nowhere/a.raw", -1), -10);
  EXPECT_EQ(output, "");
}

TEST_F(EventIndex, TheFileGoesToTheEndAndTheFirstPathWithTheTextIsLoadedAndLeaves) {
  reader.add_file("/x/aa.raw", true);
  reader.set_data_path_list("/y");
  load_index({1});
  EXPECT_EQ(print_index("a.raw", -1), 0);
  EXPECT_EQ(the_loader.loaded, names{"/x/aa.raw"});
  EXPECT_EQ(files(), names{"a.raw"});
}

// ---- one channel ----------------------------------------------------------------------------------

TEST_F(Inspection, AChannelIsDecodedPrintedAndReleased) {
  using reader_type = daq_reader<scripted_generation>;
  const std::pair<void (reader_type::*)(const char*, const char*), const char*> printers[] = {
      {&reader_type::print_channel_event_headers, "event headers"},
      {&reader_type::print_channel_server_block_headers, "server block headers"},
      {&reader_type::print_channel_channel_headers, "channel headers"},
      {&reader_type::print_channel_channel, "channel"}};
  for (const auto& [printer, what] : printers) {
    the_read_chan = {};
    EXPECT_EQ(print(printer, "/x/a.raw", "BPM"), "");
    EXPECT_EQ(the_read_chan.calls, (names{"make BPM -1", what, "clean", "destroy, flag 0"}));
    EXPECT_EQ(the_loader.names, names{"BPM"});
    EXPECT_EQ(the_loader.loaded.back(), "/x/a.raw");
    EXPECT_EQ(reader.get_number_of_files(), 0);
  }
}

TEST_F(Inspection, ItWaitsUntilTheChannelIsDecoded) {
  the_read_chan.signals_from_a_thread = true;
  print_event_headers("/x/a.raw", "BPM");
  EXPECT_EQ(the_read_chan.calls.back(), "destroy, flag 0");
}

TEST_F(Inspection, TheReadersChannelNamesAreReplaced) {
  add("TOR");
  add("RF");
  {
    const std::string name = "BPM";
    print_event_headers("/x/a.raw", name.c_str());
  }
  ASSERT_EQ(reader.chans.size(), 1u);
  EXPECT_STREQ(reader.chans[0], "BPM") << "a text of the reader's own, not the caller's";
  EXPECT_EQ(reader.get_number_of_channels(), 2);
  EXPECT_EQ(reader.rem_channel("RF"), 0);
  EXPECT_EQ(reader.rem_channel("TOR"), 0);
  EXPECT_EQ(reader.chans.size(), 1u);
}

TEST_F(Inspection, WithoutAFileOrAChannelTheInputIsToBeChecked) {
  for (const auto& [file, channel] : {std::pair<const char*, const char*>{nullptr, "A"}, {"", "A"}, {"/x/a", nullptr}})
    EXPECT_EQ(print_event_headers(file, channel), who + "check input parameters\n");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TEST_F(Inspection, AllFourPrintersSpeakOfTheFirst) {
  using reader_type = daq_reader<scripted_generation>;
  for (const auto printer : {&reader_type::print_channel_server_block_headers,
                             &reader_type::print_channel_channel_headers, &reader_type::print_channel_channel})
    EXPECT_EQ(print(printer, nullptr, "A"), who + "check input parameters\n");
}

TEST_F(Inspection, AFileOutOfReachIsTold) {
  environment_variable look{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(print_event_headers("/nowhere/a.raw", "A"), who + "check if file: /nowhere/a.raw accesible\n");
}

TEST_F(Inspection, AChannelThatTheFileDoesNotHaveIsTold) {
  the_loader.status = -5;
  EXPECT_EQ(print_event_headers("/x/a.raw", "A"), who + "channel: A not found in file: /x/a.raw\n");
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_STREQ(reader.chans.at(0), "A");
  EXPECT_TRUE(the_read_chan.calls.empty());
}

TEST_F(Inspection, AChannelThatDoesNotStartIsToldAndReleased) {
  the_read_chan.start_status = -6;
  EXPECT_EQ(print_event_headers("/x/a.raw", "A"), who + "failed to initialize channel: A\n");
  EXPECT_EQ(the_read_chan.alive, 0);
}

}  // namespace
}  // namespace ravo::test

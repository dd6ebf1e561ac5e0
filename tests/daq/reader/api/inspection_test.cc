// Inspecting a single file: counts, descriptions, index and headers, what is said when it fails, and what
// it does to the reader's own lists.
#include "ravo_evutl_status.h"
#include "requested_reader.h"

#include <fstream>

namespace ravo::test {
namespace {

template <class generation>
class Inspection : public requested_reader<generation> {
 protected:
  using dictionary_table = typename generation::records::dictionary_table;
  using dictionary_entry = typename generation::records::dictionary_entry;

  Inspection() { this->reader.set_data_dir(""); }
  /// A dictionary of channels with these names and as many events as their position says; `length_word`
  /// counts more or fewer bytes than there are when it is given.
  void load_dictionary(const names& channels, int length_word = -1) {
    memory.assign((sizeof(dictionary_table) + channels.size() * sizeof(dictionary_entry)) / 4, 0);
    auto* table = reinterpret_cast<dictionary_table*>(memory.data());
    table->pattern = RAVO_CHAN_DICTIONARY_PATTERN;
    table->length = length_word >= 0 ? length_word : static_cast<int>(memory.size() * 4);
    for (std::size_t i = 0; i < channels.size(); ++i) {
      std::strcpy(table->channel_entry()[i].chan_name, channels[i].c_str());
      table->channel_entry()[i].count = static_cast<int>(i) + 10;
    }
    the_loader.cdt_tab = table;
  }
  int print_index(const char* file, int type) {
    captured_output captured;
    const int status = this->reader.print_event_index_table(file, type);
    this->output = captured.stop();
    return status;
  }
  std::vector<std::uint32_t> memory;
  /// The file that is inspected.
  const std::string a_file = this->existing("a.raw");
  int count = -1;
};
TYPED_TEST_SUITE(Inspection, generations, generation_name);

// ---- the reader's own lists -----------------------------------------------------------------------

TYPED_TEST(Inspection, FilesAreNumberedFromOne) {
  captured_output captured;
  this->reader.print_files();
  EXPECT_EQ(captured.text(),
            "========== READER files ==============\n========== READER files END ==========\n");
  this->reader.add_file(this->a_file.c_str(), true);
  const std::string other = this->existing("b.raw");
  this->reader.add_file(other.c_str(), true);
  this->reader.print_files();
  EXPECT_EQ(captured.stop().substr(78), "========== READER files ==============\n[1] " + this->a_file +
                                            "\n[2] " + other +
                                            "\n========== READER files END ==========\n");
}

TYPED_TEST(Inspection, ChannelsArePrintedWithTheirParameters) {
  char first[] = "BPM:2;nick", second[] = "TOR";
  daq_channel_entry one{first, {1, 2, 3, 0x1f, 0.5f, 0.25f, 100.0f}}, two{second, {}};
  this->reader.add_channel(&one);
  this->reader.add_channel(&two);
  captured_output captured;
  this->reader.print_channels();
  EXPECT_EQ(captured.stop(),
            "========== READER channels ==============\n"
            "[1] BPM:2 -> nick\tparams:\tstart:1\tsamples:3\tinc:2\ttstart:0.500000\ttsamples:100.000000\t"
            "tinc:0.250000\tfunc:0x1f\n"
            "[2] TOR:-1\tparams:\tstart:0\tsamples:0\tinc:0\ttstart:0.000000\ttsamples:0.000000\t"
            "tinc:0.000000\tfunc:0x0\n"
            "========== READER channels END ==========\n");
}

TYPED_TEST(Inspection, ANullAmongTheResultsIsPassedOver) {
  this->reader.results.push_back(nullptr);
  captured_output captured;
  this->reader.print_channels();
  EXPECT_EQ(captured.stop(),
            "========== READER channels ==============\n========== READER channels END ==========\n");
}

// ---- counting -------------------------------------------------------------------------------------

TYPED_TEST(Inspection, CountsTheChannelsOfAFile) {
  this->load_dictionary({"A", "B", "C"});
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0), 0);
  EXPECT_EQ(this->count, 3);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_EQ(the_loader.loaded, names{this->a_file});
  EXPECT_EQ(the_loader.descr_mode, 0);
  EXPECT_EQ(this->reader.get_number_of_files(), 0) << "the file is gone again";
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 1), 0);
  EXPECT_EQ(the_loader.descr_mode, 1);
}

TYPED_TEST(Inspection, TheCountIsRoundedDown) {
  this->load_dictionary({"A", "B"}, static_cast<int>(8 + 2 * TypeParam::dictionary_entry - 1));
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0), 0);
  EXPECT_EQ(this->count, 1);
}

TYPED_TEST(Inspection, CountsOnlyWhatItIsAskedFor) {
  EXPECT_EQ(this->reader.get_number_of_channels(nullptr, &this->count, 0), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.get_number_of_channels("", &this->count, 0), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), nullptr, 0),
            RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TYPED_TEST(Inspection, AnEmptyDictionaryHasNoData) {
  this->load_dictionary({}, 8);
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_EQ(this->count, -1);
  this->load_dictionary({}, 0);
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_NO_DATA);
}

TYPED_TEST(Inspection, WithoutADictionarySomethingIsWrong) {
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_INTERN_ERROR);
  this->load_dictionary({"A"});
  this->memory[0] = 1;
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(Inspection, AnUnreadableFileHasNoData) {
  the_loader.status = 2;
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
}

TYPED_TEST(Inspection, AMissingFileIsNotFound) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(this->reader.get_number_of_channels("/nowhere/a.raw", &this->count, 0),
            RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
}

TYPED_TEST(Inspection, AFileIsFoundAlongTheDataPaths) {
  const std::string first = this->existing("p/a.raw");
  this->existing("q/a.raw");
  this->reader.set_data_path_list((this->folder.file("p") + ":" + this->folder.file("q")).c_str());
  this->load_dictionary({"A"});
  EXPECT_EQ(this->reader.get_number_of_channels("a.raw", &this->count, 0), 0);
  EXPECT_EQ(the_loader.loaded, names{first});
}

TYPED_TEST(Inspection, CountingUsesTheReadersOwnChannels) {
  this->add("BPM");
  this->load_dictionary({"A"});
  this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0);
  EXPECT_EQ(the_loader.names, names{"BPM"});
  EXPECT_EQ(this->reader.get_number_of_channels(), 1);
}

TYPED_TEST(Inspection, AStartedReaderInspectsNoOtherFile) {
  ASSERT_EQ(this->reader.start(), 0);
  EXPECT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0),
            RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), RAVO_DAQ_READER_NOT_ALLOWED);
  EXPECT_TRUE(the_loader.loaded.empty());
}

TYPED_TEST(Inspection, TheFileGoesInFrontAndTheLastPathWithItsTextLeaves) {
  this->reader.add_file(this->existing("x/aa.raw").c_str(), true);
  this->load_dictionary({"A"});
  const std::string path = this->existing("y/a.raw");
  this->reader.set_data_path_list(this->folder.file("y").c_str());
  ASSERT_EQ(this->reader.get_number_of_channels("a.raw", &this->count, 0), 0);
  EXPECT_EQ(the_loader.loaded, names{path}) << "the first path with the text";
  EXPECT_EQ(this->files(), names{"a.raw"}) << "the last path with the text is gone, on purpose";
}

TYPED_TEST(Inspection, TheTablesStayLoaded) {
  this->load_dictionary({"A", "B"});
  ASSERT_EQ(this->reader.get_number_of_channels(this->a_file.c_str(), &this->count, 0), 0);
  int events = 0;
  EXPECT_STREQ(this->reader.get_channel_name(1, &events, nullptr, nullptr), "B");
  EXPECT_EQ(events, 11);
}

TYPED_TEST(Inspection, TheWholeDictionaryIsPrinted) {
  this->load_dictionary({"A", "B"});
  captured_output captured;
  this->reader.print_all_channels(this->a_file.c_str());
  const std::string printed = captured.text();
  EXPECT_NE(printed.find("\"A\""), std::string::npos);
  EXPECT_NE(printed.find("\"B\""), std::string::npos);
  the_loader.status = 2;
  this->reader.print_all_channels(this->a_file.c_str());
  this->reader.print_all_channels(nullptr);
  EXPECT_EQ(captured.stop(), printed) << "nothing of what failed";
}

// ---- descriptions ---------------------------------------------------------------------------------

template <class generation>
class Descriptions : public Inspection<generation> {
 protected:
  void describe(const char* name) {
    chan_descr_2010& description = kept.emplace_back();
    std::strcpy(description.prop_name, name);
    this->reader.get_tables.descriptions.push_back(&description);
  }
  std::deque<chan_descr_2010> kept;
  std::vector<chan_descr_2010*> found;
};
TYPED_TEST_SUITE(Descriptions, generations, generation_name);

TYPED_TEST(Descriptions, ComeInTheirOrderWithTheCountsOfTheDictionary) {
  this->load_dictionary({"A", "B", "C"});
  this->describe("C");
  this->describe("unknown");
  this->describe("A");
  ASSERT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), 0);
  ASSERT_EQ(this->found.size(), 2u);
  EXPECT_STREQ(this->found[0]->prop_name, "C");
  EXPECT_EQ(this->found[0]->count, 12);
  EXPECT_STREQ(this->found[1]->prop_name, "A");
  EXPECT_EQ(this->found[1]->count, 10);
  EXPECT_EQ(the_loader.descr_mode, 1);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
}

TYPED_TEST(Descriptions, AreAppended) {
  this->load_dictionary({"A"});
  this->describe("A");
  ASSERT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), 0);
  ASSERT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), 0);
  EXPECT_EQ(this->found.size(), 2u);
}

TYPED_TEST(Descriptions, OfChannelsNamedTwiceTheFirstEntryCounts) {
  this->load_dictionary({"A", "A"});
  this->describe("A");
  ASSERT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), 0);
  EXPECT_EQ(this->found.at(0)->count, 10);
}

// The bound counts in units of 96, so that it would admit entries far after the table's end.
TYPED_TEST(Descriptions, TheSearchEndsWithTheTable) {
  names channels;
  for (int i = 0; i < 96; ++i) channels.push_back("C" + std::to_string(i));
  this->load_dictionary(channels);
  this->describe("C95");
  this->describe("C96");
  ASSERT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), 0);
  ASSERT_EQ(this->found.size(), 1u);
  EXPECT_EQ(this->found[0]->count, 105);
}

TYPED_TEST(Descriptions, AreRefusedForNothing) {
  EXPECT_EQ(this->reader.fill_chan_descr(nullptr, &this->found), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.fill_chan_descr("", &this->found), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), nullptr), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid Parameter");
}

TYPED_TEST(Descriptions, AFileWithoutThemHasNoData) {
  this->load_dictionary({"A"});
  EXPECT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), RAVO_DAQ_READER_NO_DATA);
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
}

TYPED_TEST(Descriptions, AFileThatCannotBeCountedHasItsStatus) {
  EXPECT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), RAVO_DAQ_READER_INTERN_ERROR);
  this->load_dictionary({}, 8);
  EXPECT_EQ(this->reader.fill_chan_descr(this->a_file.c_str(), &this->found), RAVO_DAQ_READER_NO_DATA);
  EXPECT_TRUE(this->found.empty());
}

// ---- the event index ------------------------------------------------------------------------------

template <class generation>
class EventIndex : public Inspection<generation> {
 protected:
  /// An index with an entry of one event for each type.
  void load_index(const std::vector<int>& types) {
    this->memory = {RAVO_EVENT_INDEX_PATTERN, static_cast<std::uint32_t>(types.size())};
    for (const int type : types) {
      for (const int word : {type, 100, 0, 200, 0, 1, 2, 1})
        this->memory.push_back(static_cast<std::uint32_t>(word));
      this->memory.insert(this->memory.end(), {100, 0, 77, 4096});
    }
    the_loader.eit_tab = this->memory.data();
  }
  int count_of(const std::string& text) const {
    int found = 0;
    for (std::size_t next = this->output.find(text); next != std::string::npos;
         next = this->output.find(text, next + 1))
      ++found;
    return found;
  }
};
TYPED_TEST_SUITE(EventIndex, generations, generation_name);

TYPED_TEST(EventIndex, AllEntriesArePrintedForANegativeType) {
  this->load_index({1, 4, 5});
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), 0);
  EXPECT_EQ(this->count_of("event index entry:"), 3);
  EXPECT_EQ(this->count_of("event 77"), 3);
  for (const char* name : {"RAVO_EV_NORMAL", "RAVO_EV_ENV", "RAVO_EV_UPD"})
    EXPECT_EQ(this->count_of(name), 1) << name;
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  EXPECT_STREQ(this->reader.get_last_error(), "OK");
  EXPECT_FALSE(the_loader.was_given_channels);
  EXPECT_EQ(the_loader.descr_mode, 0);
}

TYPED_TEST(EventIndex, OneEntryIsPrintedForAType) {
  this->load_index({1, 4, 5});
  EXPECT_EQ(this->print_index(this->a_file.c_str(), 4), 0);
  EXPECT_EQ(this->count_of("event index entry:"), 1);
  EXPECT_EQ(this->count_of("RAVO_EV_ENV"), 1);
  for (const int absent : {7, 0}) {
    EXPECT_EQ(this->print_index(this->a_file.c_str(), absent), 0);
    EXPECT_EQ(this->output, "");
  }
}

TYPED_TEST(EventIndex, ItsDefectsAreReported) {
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(this->output, "No event index table\n");
  this->load_index({1});
  this->memory[0] = 3;
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(this->output, "Wrong pattern for index table\n");
  EXPECT_STREQ(this->reader.get_last_error(), "Intern error");
  this->load_index({});
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), RAVO_DAQ_READER_NO_DATA);
  EXPECT_EQ(this->output, "No events in event index table\n");
  EXPECT_STREQ(this->reader.get_last_error(), "No required data");
}

TYPED_TEST(EventIndex, AFileThatIsNotThereHasNone) {
  EXPECT_EQ(this->print_index(nullptr, -1), RAVO_DAQ_READER_INV_PARAM);
  EXPECT_EQ(this->print_index("", -1), RAVO_DAQ_READER_INV_PARAM);
  the_loader.status = 2;
  EXPECT_EQ(this->print_index(this->a_file.c_str(), -1), RAVO_DAQ_READER_NO_DATA);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  const int before = the_loader.clean_ups;
  EXPECT_EQ(this->print_index("/nowhere/a.raw", -1), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(this->output, "");
  EXPECT_EQ(the_loader.clean_ups, before + 1) << "what was loaded before is released all the same";
  EXPECT_EQ(this->reader.get_number_of_channels("/nowhere/a.raw", &this->count, 0),
            RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_EQ(the_loader.clean_ups, before + 2);
}

TYPED_TEST(EventIndex, TheFirstPathWithTheTextIsLoadedAndLeavesTheList) {
  const std::string other = this->existing("x/aa.raw");
  this->reader.add_file(other.c_str(), true);
  this->existing("y/a.raw");
  this->reader.set_data_path_list(this->folder.file("y").c_str());
  this->load_index({1});
  EXPECT_EQ(this->print_index("a.raw", -1), 0);
  EXPECT_EQ(the_loader.loaded, names{other});
  EXPECT_EQ(this->files(), names{"a.raw"});
}

// ---- one channel ----------------------------------------------------------------------------------

/// Only the current generation prints the channels of a file.
class ChannelPrinters : public Inspection<current_generation> {
 protected:
  using printer = void (reader_type::*)(const char*, const char*);
  std::string print(printer which, const char* file, const char* channel) {
    captured_output captured;
    (reader.*which)(file, channel);
    return captured.stop();
  }
  std::string print_event_headers(const char* file, const char* channel) {
    return print(&reader_type::print_channel_event_headers, file, channel);
  }
  const std::string who = class_name + "::print_channel_event_headers() ";
};

TEST_F(ChannelPrinters, AChannelIsDecodedPrintedAndReleased) {
  const std::pair<printer, const char*> printers[] = {
      {&reader_type::print_channel_event_headers, "event headers"},
      {&reader_type::print_channel_server_block_headers, "server block headers"},
      {&reader_type::print_channel_channel_headers, "channel headers"},
      {&reader_type::print_channel_channel, "channel"}};
  for (const auto& [one, what] : printers) {
    the_read_chan = {};
    EXPECT_EQ(print(one, a_file.c_str(), "BPM"), "");
    EXPECT_EQ(the_read_chan.calls, (names{"make BPM -1", what, "clean", "destroy, flag 0"}));
    EXPECT_EQ(the_loader.names, names{"BPM"});
    EXPECT_EQ(the_loader.descr_mode, 0);
    EXPECT_EQ(the_loader.loaded.back(), a_file);
    EXPECT_EQ(reader.get_number_of_files(), 0);
  }
}

TEST_F(ChannelPrinters, WhatWasLoadedBeforeIsReleasedAlsoWhenTheFileIsNotThere) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  print_event_headers("/nowhere/a.raw", "BPM");
  EXPECT_EQ(the_loader.clean_ups, 1);
}

TEST_F(ChannelPrinters, AStartedReaderPrintsNoOtherFile) {
  ASSERT_EQ(reader.start(), 0);
  EXPECT_EQ(print_event_headers(a_file.c_str(), "A"), who + "check if file: " + a_file + " accesible\n");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TEST_F(ChannelPrinters, ItWaitsUntilTheChannelIsDecoded) {
  the_read_chan.signals_from_a_thread = true;
  print_event_headers(a_file.c_str(), "BPM");
  EXPECT_EQ(the_read_chan.calls.back(), "destroy, flag 0");
}

TEST_F(ChannelPrinters, TheReadersChannelNamesAreReplaced) {
  add("TOR");
  add("RF");
  {
    const std::string name = "BPM";
    print_event_headers(a_file.c_str(), name.c_str());
  }
  ASSERT_EQ(reader.chans.size(), 1u);
  EXPECT_STREQ(reader.chans[0], "BPM") << "a text of the reader's own, not the caller's";
  EXPECT_EQ(reader.get_number_of_channels(), 2);
  EXPECT_EQ(reader.rem_channel("RF"), 0);
  EXPECT_EQ(reader.rem_channel("TOR"), 0);
  EXPECT_EQ(reader.chans.size(), 1u);
}

TEST_F(ChannelPrinters, WithoutAFileOrAChannelTheInputIsToBeChecked) {
  for (const auto& [file, channel] :
       {std::pair<const char*, const char*>{nullptr, "A"}, {"", "A"}, {"/x/a", nullptr}})
    EXPECT_EQ(print_event_headers(file, channel), who + "check input parameters\n");
  EXPECT_TRUE(the_loader.loaded.empty());
}

TEST_F(ChannelPrinters, AllFourPrintersSpeakOfTheFirst) {
  for (const printer one :
       {&reader_type::print_channel_server_block_headers, &reader_type::print_channel_channel_headers,
        &reader_type::print_channel_channel})
    EXPECT_EQ(print(one, nullptr, "A"), who + "check input parameters\n");
}

TEST_F(ChannelPrinters, AFileOutOfReachIsReported) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(print_event_headers("/nowhere/a.raw", "A"), who + "check if file: /nowhere/a.raw accesible\n");
}

TEST_F(ChannelPrinters, AChannelThatTheFileLacksIsReported) {
  the_loader.status = RAVO_TABLE_NO_CHANNEL;
  EXPECT_EQ(print_event_headers(a_file.c_str(), "A"),
            who + "channel: A not found in file: " + a_file + "\n");
  EXPECT_EQ(reader.get_number_of_files(), 0);
  EXPECT_STREQ(reader.chans.at(0), "A");
  EXPECT_TRUE(the_read_chan.calls.empty());
}

TEST_F(ChannelPrinters, AChannelThatDoesNotStartIsReportedAndReleased) {
  the_read_chan.start_status = RAVO_DAQ_READ_CHAN_INTERN_ERROR;
  EXPECT_EQ(print_event_headers(a_file.c_str(), "A"), who + "failed to initialize channel: A\n");
  EXPECT_EQ(the_read_chan.alive, 0);
}

}  // namespace
}  // namespace ravo::test

// The loader: what it loads from files put together by hand, every code and text of its refusals, and how
// it cleans up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "captured_output.h"
#include "failing_allocation.h"
#include "handmade_file.h"
#include "ravo_daq_read_chan_2010.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

/// Three events; FAST and SLOW occur in all of them, FAST in normal events, SLOW in update events only.
handmade_file example() {
  handmade_file file;
  for (unsigned i = 0; i < 3; ++i) file.events.push_back({100 + i, 1700000000, i * 100000});
  handmade_channel fast("FAST");
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  for (std::size_t i = 0; i < 3; ++i) {
    fast.blocks.push_back(scalar(i, static_cast<float>(i)));
    slow.blocks.push_back(scalar(i, static_cast<float>(i)));
  }
  file.channels = {fast, slow};
  return file;
}

std::vector<char*> names(std::initializer_list<const char*> list) {
  std::vector<char*> result;
  for (const char* name : list) result.push_back(const_cast<char*>(name));
  return result;
}

class Loader : public testing::Test {
 protected:
  /// Loads the file with some words overwritten, and tells the status.
  int load_damaged(std::initializer_list<std::pair<std::string, std::uint32_t>> words) {
    handmade_file file = example();
    bytes content = file.build();
    for (const auto& [place, value] : words) {
      const auto plus = place.find('+');
      const std::size_t offset = file.at.at(place.substr(0, plus)) + std::stoul(place.substr(plus + 1));
      content.set_u32(offset, value);
    }
    return load(content);
  }
  int load(const bytes& content, const std::vector<char*>* chans = nullptr, int descr_mode = 0) {
    path = folder.write("example.raw", content.vector());
    captured_output output;
    const int status = loader.get_all_tables(path.c_str(), descr_mode, chans);
    text = output.stop();
    return status;
  }
  void expect_empty() {
    EXPECT_EQ(loader.get_file_descr(), -1);
    EXPECT_EQ(loader.get_file_name(), nullptr);
    EXPECT_EQ(loader.get_ref_tbl(), nullptr);
    EXPECT_EQ(loader.get_cdt_table(), nullptr);
    EXPECT_EQ(loader.get_evh_basket(), nullptr);
    EXPECT_EQ(loader.get_sbh_basket(), nullptr);
    EXPECT_TRUE(loader.chans.empty());
    EXPECT_EQ(loader.status(), 0);
  }

  temporary_folder folder;
  std::string path;
  std::string text;
  ravo_file_get_tables_2010 loader{0};
};

TEST_F(Loader, IsEmptyWhenConstructed) {
  ravo_file_get_tables_2010 other(5);
  EXPECT_EQ(other.descr_mode, 5);
  EXPECT_EQ(other.get_client_counter(), 0);
  EXPECT_EQ(other.get_file_len(), 0);
  EXPECT_EQ(other.debug, 0);
  expect_empty();
}

TEST_F(Loader, LoadsEveryTable) {
  const bytes content = example().build();
  ASSERT_EQ(load(content), 0);
  EXPECT_EQ(text, "");
  EXPECT_EQ(loader.status(), 1);
  EXPECT_STREQ(loader.get_file_name(), path.c_str());
  EXPECT_EQ(loader.get_file_len(), static_cast<off_t>(content.size()));
  EXPECT_EQ(loader.get_ref_tbl()->pattern, RAVO_REFERENCE_TABLE_PATTERN_2010);
  EXPECT_EQ(loader.get_eit_table()->nevent_types, 1);
  EXPECT_EQ(loader.get_cdt_table()->length, 8 + 2 * 272);
  EXPECT_STREQ(loader.get_cdt_table()->channel_entry()[1].chan_name, "SLOW");
  EXPECT_EQ(loader.get_ecp_table()->maxev, 3);
  EXPECT_EQ(loader.get_eidt_table()->length, 8);
  EXPECT_EQ(loader.get_xcd_table()->pattern, RAVO_XML_CHAN_DESCR_PATTERN);
  EXPECT_TRUE(loader.get_descr_list()->empty());
}

TEST_F(Loader, WithoutAListHasAFullPointerTableAndMappedBaskets) {
  handmade_file file = example();
  ASSERT_EQ(load(file.build()), 0);
  EXPECT_TRUE(loader.is_ecp_tab_full());
  EXPECT_EQ(loader.basket_copy_mode, 0);
  EXPECT_EQ(loader.get_ecp_tab_entry_index("FAST"), -1);
  // The byte at file offset X lies at base + (X - offset).
  const std::size_t events = file.at["events"];
  EXPECT_EQ(loader.get_evh_offset() % 4096, 0u);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(loader.get_evh_basket()),
            loader.get_evh_base() + (events - loader.get_evh_offset()));
  EXPECT_EQ(loader.get_evh_basket()->pattern, __builtin_bswap32(RAVO_EVENT_HEADER_BASKET_PATTERN));
  EXPECT_EQ(loader.evh_base_size, 8 + 3 * 36 + (events - loader.get_evh_offset()));
}

TEST_F(Loader, WithAnEmptyListLoadsAllChannels) {
  const std::vector<char*> none;
  ASSERT_EQ(load(example().build(), &none), 0);
  EXPECT_TRUE(loader.is_ecp_tab_full());
  EXPECT_EQ(loader.basket_copy_mode, 0);
}

TEST_F(Loader, LeavesTheBasketsMappedForSlowChannels) {
  const auto chans = names({"SLOW"});
  ASSERT_EQ(load(example().build(), &chans), 0);
  EXPECT_FALSE(loader.is_ecp_tab_full());
  EXPECT_EQ(loader.basket_copy_mode, 0);
  EXPECT_NE(loader.get_evh_base(), nullptr);
}

TEST_F(Loader, CopiesTheBasketsForAFastChannel) {
  handmade_file file = example();
  const auto chans = names({"SLOW", "FAST"});
  ASSERT_EQ(load(file.build(), &chans), 0);
  EXPECT_EQ(loader.basket_copy_mode, 1);
  EXPECT_EQ(loader.get_evh_offset(), file.at["events"]);
  EXPECT_EQ(loader.get_sbh_offset(), file.at["servers"]);
  EXPECT_EQ(loader.get_sbh_basket()->length, static_cast<int>(__builtin_bswap32(8 + 3 * 284)));
}

TEST_F(Loader, SkipsUnknownNamesWhenItDecidesToCopy) {
  const auto chans = names({"NOBODY", "SLOW"});
  ASSERT_EQ(load(example().build(), &chans), 0);
  EXPECT_EQ(loader.basket_copy_mode, 0);
  EXPECT_EQ(loader.get_ecp_table()->chptr()[0].chhd, 0u);
  EXPECT_NE(loader.get_ecp_table()->chptr()[3].chhd, 0u);
}

TEST_F(Loader, KnowsTheRowOfAListedName) {
  const auto chans = names({"SLOW", "FAST", "SLOW"});
  ASSERT_EQ(load(example().build(), &chans), 0);
  EXPECT_EQ(loader.get_ecp_tab_entry_index("SLOW"), 0);
  EXPECT_EQ(loader.get_ecp_tab_entry_index("FAST"), 1);
  EXPECT_EQ(loader.get_ecp_tab_entry_index("FAS"), -1);
  EXPECT_EQ(loader.get_ecp_tab_entry_index(""), -1);
  EXPECT_EQ(loader.get_ecp_tab_entry_index(nullptr), -1);
  EXPECT_EQ(loader.chans[0], chans[0]);  // the caller's texts, not copies
}

TEST_F(Loader, RefusesNoPathAndKeepsTheNames) {
  const auto chans = names({"FAST"});
  EXPECT_EQ(loader.get_all_tables(nullptr, 0, &chans), 1);
  EXPECT_EQ(loader.chans.size(), 1u);
  EXPECT_EQ(loader.get_all_tables("", 0, nullptr), 1);
  EXPECT_TRUE(loader.chans.empty());
}

TEST_F(Loader, RefusesAFileThatCannotBeOpenedAndKeepsTheNames) {
  const auto chans = names({"FAST"});
  EXPECT_EQ(loader.get_all_tables(folder.file("nothing.raw").c_str(), 0, &chans), -2);
  EXPECT_EQ(loader.chans.size(), 1u);
  loader.clean_up();
  expect_empty();
}

TEST_F(Loader, DoesNotWaitForANamedPipe) {
  const std::string pipe = folder.file("pipe.raw");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(loader.get_all_tables(pipe.c_str(), 0, nullptr), -3);
  expect_empty();
}

TEST_F(Loader, TellsTheSystemsReasonsOnlyWhenDebugging) {
  handmade_file file = example();
  bytes content = file.build();
  content.set_u32(file.at["events"] + 4, 0x7ffffff0);
  const std::string damaged = folder.write("damaged.raw", content.vector());
  const std::string missing = folder.file("nothing.raw");
  for (const int debug : {0, 1}) {
    loader.debug = debug;
    captured_output quiet;
    testing::internal::CaptureStderr();
    loader.get_all_tables(missing.c_str(), 0, nullptr);
    loader.get_all_tables(damaged.c_str(), 0, nullptr);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(told, debug == 0 ? "" : "open: No such file or directory\nmmap: No such device or address\n");
  }
}

TEST_F(Loader, RefusesAFileThatCannotBeMapped) {
  EXPECT_EQ(load(bytes()), -3);  // empty
  expect_empty();
  EXPECT_EQ(loader.get_all_tables(folder.path().c_str(), 0, nullptr), -3);  // a folder
  expect_empty();
}

TEST_F(Loader, RefusesTextAndNothingElseIsRead) {
  loader.debug = 1;
  bytes content;
  content.raw("This is a text of some length, not a raw file.\n");
  EXPECT_EQ(load(content), 2);
  EXPECT_THAT(text, testing::ContainsRegex("Failed to get file reference tabel \\(2010\\) err: -?[0-9]+\n"));
  expect_empty();
}

struct refusal {
  const char* what;
  std::vector<std::pair<std::string, std::uint32_t>> damage;
  int status;
  const char* text;  ///< before the error number
};

class LoaderRefusal : public testing::TestWithParam<refusal> {};

TEST_P(LoaderRefusal, HasItsCodeAndItsTextAndLeavesTheLoaderEmpty) {
  handmade_file file = example();
  bytes content = file.build();
  for (const auto& [place, value] : GetParam().damage) {
    const auto plus = place.find('+');
    content.set_u32(file.at.at(place.substr(0, plus)) + std::stoul(place.substr(plus + 1)), value);
  }
  const temporary_folder folder;
  const std::string path = folder.write("damaged.raw", content.vector());
  for (const int debug : {0, 1}) {
    ravo_file_get_tables_2010 loader(0);
    loader.debug = debug;
    captured_output output;
    const int status = loader.get_all_tables(path.c_str(), 1, nullptr);
    const std::string text = output.stop();
    if (GetParam().status != 0) {
      EXPECT_EQ(status, GetParam().status);
    }
    EXPECT_NE(status, 0);
    EXPECT_EQ(loader.get_file_descr(), -1);
    EXPECT_EQ(loader.get_cdt_table(), nullptr);
    EXPECT_EQ(loader.get_evh_base(), nullptr);
    if (debug == 0) {
      EXPECT_EQ(text, "");
    } else {
      EXPECT_THAT(text, testing::HasSubstr(GetParam().text));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    OfEachPiece, LoaderRefusal,
    testing::Values(
        refusal{"reference", {{"reference+0", 1}}, 2, "Failed to get file reference tabel (2010) err: "},
        refusal{"index", {{"index+0", 1}}, 3, "Failed to get EIT (2010) err: "},
        refusal{"dictionary", {{"dictionary+4", 0xffffffffu}}, 3, "Failed to get CDT (2010) err: "},
        refusal{"pointers", {{"pointers+4", 0x7fffffffu}}, 0, "Failed to get ECPT (2010) err: "},
        refusal{"environment", {{"environment+4", 7}}, 5, "Failed to get CDT (2010) err: "},
        refusal{"xml", {{"xml+4", 0x40000000u}}, 6, "Failed to get XCD (2010) err: "},
        refusal{"descriptions", {{"xml+8", 0x20202020u}}, 7, "Failed to load XCD (2010) err: "},
        refusal{"event_basket", {{"events+4", 0x7ffffff0u}}, -5, "Length: "},
        refusal{"negative_event_basket", {{"events+4", 0xfffffff0u}}, -5, "Length: "},
        refusal{"server_basket", {{"servers+4", 7}}, -7, "Length: "}),
    [](const auto& instance) { return instance.param.what; });

TEST_F(Loader, RefusesAPointerTableByListWithItsOwnText) {
  handmade_file file = example();
  bytes content = file.build();
  content.set_u32(file.at["pointers"], 1);
  loader.debug = 1;
  const auto chans = names({"FAST"});
  EXPECT_NE(load(content, &chans), 0);
  EXPECT_THAT(text, testing::HasSubstr("Failed to get ECPT (with list 2010) err: "));
  expect_empty();
}

TEST_F(Loader, HandsTheStatusOfThePointerTableUpward) {
  const auto chans = names({"NOBODY", "NOBODY2"});
  EXPECT_EQ(load(example().build(), &chans), -5);
}

TEST_F(Loader, RefusesBasketsThatTheReferenceTablePutsBehindTheFile) {
  for (const auto& [place, code] : {std::pair{"reference+156", -4}, std::pair{"reference+160", -6}}) {
    EXPECT_EQ(load_damaged({{place, 0x7fffffffu}}), code);
    expect_empty();
  }
}

TEST_F(Loader, TellsLengthOffsetAndDescriptorWhenDebugging) {
  loader.debug = 1;
  const bytes content = example().build();
  ASSERT_EQ(load(content), 0);
  const long page = (static_cast<long>(content.size()) - 4) / 4096 * 4096;
  char expected[100];
  std::snprintf(expected, sizeof expected, "Length: %ld offset: %ld  fd: %x\n",
                static_cast<long>(content.size()) - page, page, static_cast<unsigned>(loader.get_file_descr()));
  EXPECT_EQ(text, expected);
}

TEST_F(Loader, TellsItsTimeAtNegativeDebugLevels) {
  loader.debug = -1;
  ASSERT_EQ(load(example().build()), 0);
  EXPECT_THAT(text, testing::ContainsRegex("GET ALL TABLES [0-9.]+ msec file:" + path + "\n"));
}

TEST_F(Loader, LoadsAgainAfterCleanUpAndKeepsDebugAndMode) {
  loader.debug = 1;
  ASSERT_EQ(load(example().build(), nullptr, 1), 0);
  loader.inc_client_counter();
  EXPECT_EQ(loader.get_client_counter(), 1);
  loader.clean_up();
  loader.clean_up();  // twice is harmless
  expect_empty();
  EXPECT_EQ(loader.get_client_counter(), 0);
  EXPECT_EQ(loader.debug, 1);
  EXPECT_EQ(loader.descr_mode, 1);
  EXPECT_EQ(load(example().build()), 0);
}

TEST_F(Loader, LoadsDescriptionsWhenAskedTo) {
  handmade_file file = example();
  file.xml = "<channel_descriptions version=\"1\"><channel prop_name=\"FAST\" units=\"mm\"/></channel_descriptions>";
  ASSERT_EQ(load(file.build(), nullptr, 1), 0);
  ASSERT_EQ(loader.get_descr_list()->size(), 1u);
  EXPECT_STREQ(loader.get_descr_list()->front()->prop_name, "FAST");
}

TEST_F(Loader, TellsInconsistentDescriptionsAndLeavesTheirElements) {
  bit_descr bit{};
  dim_descr dim{};
  auto* description = new chan_descr_2010{};
  description->bits = {&bit, &bit};
  description->dims = {&dim};
  loader.get_descr_list()->push_back(description);
  captured_output output;
  loader.clean_up();
  EXPECT_EQ(output.stop(), "ERROR: nbits = 0, but bits.size()=2\nERROR: ndims = 0, but ndims.size()=1\n");
}

TEST_F(Loader, RefusesAFileWhenMemoryForTheBasketsIsNotToBeHad) {
  const auto chans = names({"FAST"});
  {
    const failing_allocation none(0);
    EXPECT_EQ(load(example().build(), &chans), -5);
  }
  expect_empty();
  {
    const failing_allocation second(1);
    EXPECT_EQ(load(example().build(), &chans), -7);
  }
  expect_empty();
}

TEST_F(Loader, DoesNotLeakDescriptors) {
  const std::string good = folder.write("good.raw", example().build().vector());
  const auto free_descriptor = [] {
    const int descriptor = dup(0);
    close(descriptor);
    return descriptor;
  };
  const int before = free_descriptor();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(loader.get_all_tables(good.c_str(), 0, nullptr), 0);
    load_damaged({{"events+4", 1}});
  }
  loader.clean_up();
  EXPECT_EQ(free_descriptor(), before);
}

TEST_F(Loader, RefusesEveryTruncation) {
  const bytes content = example().build();
  const std::string name = folder.write("cut.raw", content.vector());
  captured_output quiet;
  for (std::size_t size = content.size() - 4; size > 0; size -= 4) {
    ASSERT_EQ(truncate(name.c_str(), static_cast<off_t>(size)), 0);
    EXPECT_NE(loader.get_all_tables(name.c_str(), 1, nullptr), 0) << size;
  }
}

TEST_F(Loader, AnswersEveryDamagedWord) {
  bytes content = example().build();
  const std::string name = folder.write("damaged.raw", content.vector());
  const int file = open(name.c_str(), O_WRONLY);
  captured_output quiet;
  for (std::size_t word = 0; word + 4 <= content.size(); word += 4) {
    const std::uint32_t truth = content.word(word);
    for (const std::uint32_t value :
         {0u, 0xffffffffu, 0x7fffffffu, 0x80000000u, static_cast<std::uint32_t>(word), truth}) {
      content.set_u32(word, value);
      ASSERT_EQ(pwrite(file, content.data() + word, 4, static_cast<off_t>(word)), 4);
      const int status = loader.get_all_tables(name.c_str(), 1, nullptr);  // never a crash
      EXPECT_EQ(status == 0 || value != truth, true) << word;
    }
  }
  close(file);
}

}  // namespace

// The loader: what it loads from files put together by hand, every code and text of its refusals, and how
// it cleans up.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "captured_output.h"
#include "failing_allocation.h"
#include "generations.h"
#include "handmade_file.h"
#include "ravo_daq_read_chan.h"
#include "ravo_daq_read_chan_2010.h"
#include "ravo_evutl_status.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

// The refusals of get_all_tables(); ravo_daq/file_get_tables.h states the numbers.
enum failure : int {
  cannot_be_opened = -2,
  tail_not_mapped = -3,
  event_headers_not_read = -5,
  server_blocks_not_read = -7,
};

/// Three events; FAST and SLOW occur in all of them, FAST in normal events, SLOW in update events only.
template <class layout>
handmade_file_of<layout> example_of() {
  handmade_file_of<layout> file;
  for (unsigned i = 0; i < 3; ++i) file.events.push_back({100 + i, 1700000000, i * 100000});
  handmade_channel fast("FAST");
  handmade_channel slow("SLOW");
  slow.ev_mask = 1u << RAVO_EV_UPD;
  for (std::size_t i = 0; i < 3; ++i) {
    fast.blocks.push_back(scalar<layout>(i, static_cast<float>(i)));
    slow.blocks.push_back(scalar<layout>(i, static_cast<float>(i)));
  }
  file.channels = {fast, slow};
  return file;
}

std::vector<char*> names(std::initializer_list<const char*> list) {
  std::vector<char*> result;
  for (const char* name : list) result.push_back(const_cast<char*>(name));
  return result;
}

template <class generation>
class Loader : public testing::Test {
 protected:
  using loader_type = typename generation::loader;
  using file_type = handmade_file_of<typename generation::layout>;

  static file_type example() { return example_of<typename generation::layout>(); }

  /// Loads the file with some words overwritten, and returns the status.
  int load_damaged(std::initializer_list<std::pair<std::string, std::uint32_t>> words, int descr_mode = 0) {
    file_type file = example();
    bytes content = file.build();
    for (const auto& [place, value] : words) {
      const auto plus = place.find('+');
      const std::size_t offset = file.at.at(place.substr(0, plus)) + std::stoul(place.substr(plus + 1));
      content.set_u32(offset, value);
    }
    return load(content, nullptr, descr_mode);
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
    EXPECT_EQ(loader.get_file_len(), 0);
    EXPECT_EQ(loader.evh_base_size, 0u);
    EXPECT_EQ(loader.sbh_base_size, 0u);
    EXPECT_EQ(loader.status(), 0);
  }

  temporary_folder folder;
  std::string path;
  std::string text;
  loader_type loader{0};
};

TYPED_TEST_SUITE(Loader, generations, generation_name);
using CurrentLoader = Loader<current_generation>;
using OlderLoader = Loader<older_generation>;

TYPED_TEST(Loader, IsEmptyWhenConstructed) {
  typename TestFixture::loader_type other(5);
  EXPECT_EQ(other.descr_mode, 5);
  EXPECT_EQ(other.get_client_counter(), 0);
  EXPECT_EQ(other.get_file_len(), 0);
  EXPECT_EQ(other.debug, 0);
  this->expect_empty();
}

TYPED_TEST(Loader, LoadsEveryTable) {
  const bytes content = this->example().build();
  ASSERT_EQ(this->load(content), 0);
  EXPECT_EQ(this->text, "");
  EXPECT_EQ(this->loader.status(), 1);
  EXPECT_STREQ(this->loader.get_file_name(), this->path.c_str());
  EXPECT_EQ(this->loader.get_file_len(), static_cast<off_t>(content.size()));
  EXPECT_EQ(this->loader.get_ref_tbl()->pattern, TypeParam::reference_marker);
  EXPECT_EQ(this->loader.get_eit_table()->nevent_types, 1);
  EXPECT_EQ(this->loader.get_cdt_table()->length, static_cast<int>(8 + 2 * TypeParam::dictionary_entry));
  EXPECT_STREQ(this->loader.get_cdt_table()->channel_entry()[1].chan_name, "SLOW");
  EXPECT_EQ(this->loader.get_ecp_table()->maxev, 3);
  EXPECT_EQ(this->loader.get_eidt_table()->length, 8);
  EXPECT_EQ(this->loader.get_xcd_table()->pattern, RAVO_XML_CHAN_DESCR_PATTERN);
  EXPECT_TRUE(this->loader.get_descr_list()->empty());
}

TYPED_TEST(Loader, WithoutAListHasAFullPointerTableAndMappedBaskets) {
  typename TestFixture::file_type file = this->example();
  ASSERT_EQ(this->load(file.build()), 0);
  EXPECT_TRUE(this->loader.is_ecp_tab_full());
  EXPECT_FALSE(this->loader.are_baskets_copied());
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index("FAST"), -1);
  // The byte at file offset X lies at base + (X - offset).
  const std::size_t events = file.at["events"];
  EXPECT_EQ(this->loader.get_evh_offset() % 4096, 0u);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(this->loader.get_evh_basket()),
            this->loader.get_evh_base() + (events - this->loader.get_evh_offset()));
  EXPECT_EQ(this->loader.get_evh_basket()->pattern, __builtin_bswap32(RAVO_EVENT_HEADER_BASKET_PATTERN));
  EXPECT_EQ(this->loader.evh_base_size, 8 + 3 * 36 + (events - this->loader.get_evh_offset()));
}

TYPED_TEST(Loader, WithAnEmptyListLoadsAllChannels) {
  const std::vector<char*> none;
  ASSERT_EQ(this->load(this->example().build(), &none), 0);
  EXPECT_TRUE(this->loader.is_ecp_tab_full());
  EXPECT_FALSE(this->loader.are_baskets_copied());
}

TYPED_TEST(Loader, LeavesTheBasketsMappedForSlowChannels) {
  const auto chans = names({"SLOW"});
  ASSERT_EQ(this->load(this->example().build(), &chans), 0);
  EXPECT_FALSE(this->loader.is_ecp_tab_full());
  EXPECT_FALSE(this->loader.are_baskets_copied());
  EXPECT_NE(this->loader.get_evh_base(), nullptr);
}

TEST_F(CurrentLoader, CopiesTheBasketsForAFastChannel) {
  file_type file = example();
  const auto chans = names({"SLOW", "FAST"});
  ASSERT_EQ(load(file.build(), &chans), 0);
  EXPECT_EQ(loader.basket_copy_mode, 1);
  EXPECT_EQ(loader.get_evh_offset(), file.at["events"]);
  EXPECT_EQ(loader.get_sbh_offset(), file.at["servers"]);
  EXPECT_EQ(loader.get_sbh_basket()->length, static_cast<int>(__builtin_bswap32(8 + 3 * 284)));
}

TEST_F(OlderLoader, NeverCopiesTheBaskets) {
  file_type file = example();
  for (const auto& chans : {names({"FAST"}), names({"SLOW", "FAST"}), names({"SLOW"}), names({})}) {
    ASSERT_EQ(load(file.build(), &chans), 0);
    EXPECT_FALSE(loader.are_baskets_copied());
    EXPECT_EQ(loader.get_evh_offset(), 0u);  // of the mapped page
    EXPECT_EQ(loader.get_sbh_offset(), 0u);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(loader.get_evh_basket()),
              loader.get_evh_base() + file.at["events"]);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(loader.get_sbh_basket()),
              loader.get_sbh_base() + file.at["servers"]);
    EXPECT_EQ(loader.sbh_base_size, file.at["servers"] + 8 + 3 * 76);
  }
}

TYPED_TEST(Loader, SkipsUnknownNamesWhenItDecidesToCopy) {
  const auto chans = names({"NOBODY", "SLOW"});
  ASSERT_EQ(this->load(this->example().build(), &chans), 0);
  EXPECT_FALSE(this->loader.are_baskets_copied());
  EXPECT_EQ(this->loader.get_ecp_table()->chptr()[0].chhd, 0u);
  EXPECT_NE(this->loader.get_ecp_table()->chptr()[3].chhd, 0u);
}

TYPED_TEST(Loader, KnowsTheRowOfAListedName) {
  const auto chans = names({"SLOW", "FAST", "SLOW"});
  ASSERT_EQ(this->load(this->example().build(), &chans), 0);
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index("SLOW"), 0);
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index("FAST"), 1);
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index("FAS"), -1);
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index(""), -1);
  EXPECT_EQ(this->loader.get_ecp_tab_entry_index(nullptr), -1);
  EXPECT_EQ(this->loader.chans[0], chans[0]);  // the caller's texts, not copies
}

TYPED_TEST(Loader, RefusesNoPathAndKeepsTheNames) {
  const auto chans = names({"FAST"});
  EXPECT_EQ(this->loader.get_all_tables(nullptr, 0, &chans), 1);
  EXPECT_EQ(this->loader.chans.size(), 1u);
  EXPECT_EQ(this->loader.get_all_tables("", 0, nullptr), 1);
  EXPECT_TRUE(this->loader.chans.empty());
}

TYPED_TEST(Loader, RefusesAFileThatCannotBeOpenedAndKeepsTheNames) {
  const auto chans = names({"FAST"});
  EXPECT_EQ(this->loader.get_all_tables(this->folder.file("nothing.raw").c_str(), 0, &chans),
            cannot_be_opened);
  EXPECT_EQ(this->loader.chans.size(), 1u);
  this->loader.clean_up();
  this->expect_empty();
}

TYPED_TEST(Loader, DoesNotWaitForANamedPipe) {
  const std::string pipe = this->folder.file("pipe.raw");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(this->loader.get_all_tables(pipe.c_str(), 0, nullptr), tail_not_mapped);
  this->expect_empty();
}

TYPED_TEST(Loader, ReportsTheSystemsReasonsOnlyWhenDebugging) {
  typename TestFixture::file_type file = this->example();
  bytes content = file.build();
  content.set_u32(file.at["events"] + 4, 0x7ffffff0);
  const std::string damaged = this->folder.write("damaged.raw", content.vector());
  const std::string missing = this->folder.file("nothing.raw");
  for (const int debug : {0, 1}) {
    this->loader.debug = debug;
    captured_output quiet;
    testing::internal::CaptureStderr();
    this->loader.get_all_tables(missing.c_str(), 0, nullptr);
    this->loader.get_all_tables(damaged.c_str(), 0, nullptr);
    const std::string reported = testing::internal::GetCapturedStderr();
    EXPECT_EQ(reported,
              debug == 0 ? "" : "open: No such file or directory\nmmap: No such device or address\n");
  }
}

TYPED_TEST(Loader, RefusesAFileThatCannotBeMapped) {
  EXPECT_EQ(this->load(bytes()), tail_not_mapped);  // empty
  this->expect_empty();
  EXPECT_EQ(this->loader.get_all_tables(this->folder.path().c_str(), 0, nullptr),
            tail_not_mapped);  // a folder
  this->expect_empty();
}

TYPED_TEST(Loader, RefusesTextAndNothingElseIsRead) {
  this->loader.debug = 1;
  bytes content;
  content.raw("This is a text of some length, not a raw file.\n");
  EXPECT_EQ(this->load(content), 2);
  EXPECT_THAT(this->text, testing::ContainsRegex(either<TypeParam>(
                              "Failed to get file reference tabel \\(2010\\) err: -?[0-9]+\n",
                              "Failed to get file reference tabel err: -?[0-9]+\n")));
  this->expect_empty();
}

struct refusal {
  const char* what;
  std::pair<std::string, std::uint32_t> damage;
  int status;        ///< 0: the table-access library's
  const char* text;  ///< before the error number
};

template <class generation>
std::vector<refusal> refusals() {
  const auto text = [](const char* of_current, const char* of_older) {
    return either<generation>(of_current, of_older);
  };
  return {
      {"reference",
       {"reference+0", 1},
       2,
       text("Failed to get file reference tabel (2010) err: ", "Failed to get file reference tabel err: ")},
      {"index", {"index+0", 1}, 3, text("Failed to get EIT (2010) err: ", "Failed to get EIT err: ")},
      {"dictionary",
       {"dictionary+4", 0xffffffffu},
       3,
       text("Failed to get CDT (2010) err: ", "Failed to get CDT err: ")},
      {"pointers",
       {"pointers+4", 0x7fffffffu},
       0,
       text("Failed to get ECPT (2010) err: ", "Failed to get ECPT err: ")},
      {"environment",
       {"environment+4", 7},
       5,
       text("Failed to get CDT (2010) err: ", "Failed to get CDT err: ")},
      {"xml", {"xml+4", 0x40000000u}, 6, text("Failed to get XCD (2010) err: ", "Failed to get XCD err: ")},
      {"descriptions",
       {"xml+8", 0x20202020u},
       7,
       text("Failed to load XCD (2010) err: ", "Failed to load XCD err: ")},
      {"event basket", {"events+4", 0x7ffffff0u}, -5, "Length: "},
      {"negative event basket", {"events+4", 0xfffffff0u}, -5, "Length: "},
      {"server basket", {"servers+4", 7}, -7, "Length: "},
  };
}

TYPED_TEST(Loader, EachRefusalHasItsCodeAndItsTextAndLeavesTheLoaderEmpty) {
  for (const refusal& one : refusals<TypeParam>())
    for (const int debug : {0, 1}) {
      SCOPED_TRACE(one.what);
      this->loader.debug = debug;
      const int status = this->load_damaged({one.damage}, 1);
      EXPECT_NE(status, 0);
      if (one.status != 0) {
        EXPECT_EQ(status, one.status);
      }
      this->expect_empty();
      EXPECT_EQ(this->loader.get_evh_base(), nullptr);
      if (debug == 0) {
        EXPECT_EQ(this->text, "");
      } else {
        EXPECT_THAT(this->text, testing::HasSubstr(one.text));
      }
    }
}

TYPED_TEST(Loader, RefusesAPointerTableByListWithItsOwnText) {
  typename TestFixture::file_type file = this->example();
  bytes content = file.build();
  content.set_u32(file.at["pointers"], 1);
  this->loader.debug = 1;
  const auto chans = names({"FAST"});
  EXPECT_NE(this->load(content, &chans), 0);
  EXPECT_THAT(this->text, testing::HasSubstr(either<TypeParam>("Failed to get ECPT (with list 2010) err: ",
                                                               "Failed to get ECPT (with list) err: ")));
  this->expect_empty();
}

TYPED_TEST(Loader, HandsTheStatusOfThePointerTableUpward) {
  const auto chans = names({"NOBODY", "NOBODY2"});
  EXPECT_EQ(this->load(this->example().build(), &chans), RAVO_TABLE_NO_CHANNEL);
}

TYPED_TEST(Loader, RefusesBasketsThatTheReferenceTablePutsAfterTheFile) {
  for (const auto& [place, code] : {std::pair{"reference+156", -4}, std::pair{"reference+160", -6}}) {
    EXPECT_EQ(this->load_damaged({{place, 0x7fffffffu}}), code);
    this->expect_empty();
  }
}

TYPED_TEST(Loader, ReportsLengthOffsetAndDescriptorWhenDebugging) {
  this->loader.debug = 1;
  const bytes content = this->example().build();
  ASSERT_EQ(this->load(content), 0);
  const long page = (static_cast<long>(content.size()) - 4) / 4096 * 4096;
  char expected[100];
  std::snprintf(expected, sizeof expected, "Length: %ld offset: %ld  fd: %x\n",
                static_cast<long>(content.size()) - page, page,
                static_cast<unsigned>(this->loader.get_file_descr()));
  EXPECT_EQ(this->text, expected);
}

TYPED_TEST(Loader, ReportsItsTimeAtNegativeDebugLevels) {
  this->loader.debug = -1;
  ASSERT_EQ(this->load(this->example().build()), 0);
  EXPECT_THAT(this->text,
              testing::ContainsRegex(either<TypeParam>("\nGET ALL TABLES [0-9.]+ msec file:",
                                                       "\n  GET ALL TABLES [0-9.]+ msec file: ") +
                                     this->path + "\n$"));
}

TYPED_TEST(Loader, LoadsAgainAfterCleanUpAndKeepsDebugAndMode) {
  this->loader.debug = 1;
  ASSERT_EQ(this->load(this->example().build(), nullptr, 1), 0);
  this->loader.inc_client_counter();
  EXPECT_EQ(this->loader.get_client_counter(), 1);
  this->loader.clean_up();
  this->loader.clean_up();  // twice is harmless
  this->expect_empty();
  EXPECT_EQ(this->loader.get_client_counter(), 0);
  EXPECT_EQ(this->loader.debug, 1);
  EXPECT_EQ(this->loader.descr_mode, 1);
  EXPECT_EQ(this->load(this->example().build()), 0);
}

TYPED_TEST(Loader, LoadsDescriptionsWhenAskedTo) {
  typename TestFixture::file_type file = this->example();
  file.xml =
      "<channel_descriptions version=\"1\"><channel prop_name=\"FAST\" "
      "units=\"mm\"/></channel_descriptions>";
  ASSERT_EQ(this->load(file.build(), nullptr, 1), 0);
  ASSERT_EQ(this->loader.get_descr_list()->size(), 1u);
  EXPECT_STREQ(this->loader.get_descr_list()->front()->prop_name, "FAST");
}

TYPED_TEST(Loader, ReportsInconsistentDescriptionsAndLeavesTheirElements) {
  bit_descr bit{};
  dim_descr dim{};
  auto* description = new chan_descr_2010{};
  description->bits = {&bit, &bit};
  description->dims = {&dim};
  this->loader.get_descr_list()->push_back(description);
  captured_output output;
  this->loader.clean_up();
  EXPECT_EQ(output.stop(), "ERROR: nbits = 0, but bits.size()=2\nERROR: ndims = 0, but ndims.size()=1\n");
}

TEST_F(CurrentLoader, RefusesAFileWhenMemoryForTheBasketsIsNotToBeHad) {
  const auto chans = names({"FAST"});
  {
    const failing_allocation none(0);
    EXPECT_EQ(load(example().build(), &chans), event_headers_not_read);
  }
  expect_empty();
  {
    const failing_allocation second(1);
    EXPECT_EQ(load(example().build(), &chans), server_blocks_not_read);
  }
  expect_empty();
}

TEST_F(OlderLoader, AsksForNoMemoryForTheBaskets) {
  const auto chans = names({"FAST"});
  const failing_allocation none(0);
  EXPECT_EQ(load(example().build(), &chans), 0);
}

TYPED_TEST(Loader, DoesNotLeakDescriptors) {
  const std::string good = this->folder.write("good.raw", this->example().build().vector());
  const auto free_descriptor = [] {
    const int descriptor = dup(0);
    close(descriptor);
    return descriptor;
  };
  const int before = free_descriptor();
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(this->loader.get_all_tables(good.c_str(), 0, nullptr), 0);
    this->load_damaged({{"events+4", 1}});
  }
  this->loader.clean_up();
  EXPECT_EQ(free_descriptor(), before);
}

TYPED_TEST(Loader, RefusesEveryTruncation) {
  const bytes content = this->example().build();
  const std::string name = this->folder.write("cut.raw", content.vector());
  captured_output quiet;
  for (std::size_t size = content.size() - 4; size > 0; size -= 4) {
    ASSERT_EQ(truncate(name.c_str(), static_cast<off_t>(size)), 0);
    EXPECT_NE(this->loader.get_all_tables(name.c_str(), 1, nullptr), 0) << size;
  }
}

TYPED_TEST(Loader, AnswersEveryDamagedWord) {
  bytes content = this->example().build();
  const std::string name = this->folder.write("damaged.raw", content.vector());
  const int file = open(name.c_str(), O_WRONLY);
  captured_output quiet;
  for (std::size_t word = 0; word + 4 <= content.size(); word += 4) {
    const std::uint32_t truth = content.word(word);
    for (const std::uint32_t value :
         {0u, 0xffffffffu, 0x7fffffffu, 0x80000000u, static_cast<std::uint32_t>(word), truth}) {
      content.set_u32(word, value);
      ASSERT_EQ(pwrite(file, content.data() + word, 4, static_cast<off_t>(word)), 4);
      const int status = this->loader.get_all_tables(name.c_str(), 1, nullptr);  // never a crash
      EXPECT_EQ(status == 0 || value != truth, true) << word;
    }
  }
  close(file);
}

}  // namespace

// What the printers of tables write, and that hostile names and counts neither reach the terminal nor lead
// them past the table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "captured_output.h"
#include "ravo_evutl.h"

namespace {

using ravo::test::captured_output;

template <class Table>
std::string printed(void (*print)(const Table*), const Table* table) {
  captured_output output;
  print(table);
  return output.stop();
}

/// A dictionary with these names; nothing follows its last entry.
class dictionary {
 public:
  explicit dictionary(const std::vector<std::string>& names)
      : memory_((sizeof(ravo_chan_dictionary_table_2010) +
                 names.size() * sizeof(ravo_chan_dictionary_entry_2010)) /
                4) {
    table()->pattern = RAVO_CHAN_DICTIONARY_PATTERN;
    table()->length = static_cast<int>(memory_.size() * 4);
    for (std::size_t i = 0; i < names.size(); ++i)
      std::memcpy(table()->channel_entry()[i].chan_name, names[i].data(), names[i].size());
  }
  ravo_chan_dictionary_table_2010* table() {
    return reinterpret_cast<ravo_chan_dictionary_table_2010*>(memory_.data());
  }

 private:
  std::vector<std::uint32_t> memory_;
};

TEST(PrintDictionary, ShowsEveryChannelWithItsMasks) {
  dictionary made({"LINAC/BPM", "EMPTY"});
  ravo_chan_dictionary_entry_2010& channel = made.table()->channel_entry()[0];
  channel.key = 4000000000u;
  channel.ev_mask = 1u << RAVO_EV_NORMAL | 1u << RAVO_EV_31;
  channel.dtype_mask = 1u << RAVO_BLOCK_IMAGE | 1u << RAVO_BLOCK_GENERIC_SPECT;
  channel.count = 12;
  EXPECT_EQ(printed(print_channel_dictionary_table_2010, made.table()),
            "channel dictionary: 2 channels  pattern 0xdcadcaf3  length 552\n"
            "[0] \"LINAC/BPM\"  key 4000000000  events 12\n"
            "  event types 0x80000002 (RAVO_EV_NORMAL RAVO_EV_31)  data types 13 (RAVO_BLOCK_IMAGE), "
            "28 (RAVO_BLOCK_GENERIC_SPECT)\n"
            "[1] \"EMPTY\"  key 0  events 0\n"
            "  event types 0  data types 0\n");
}

TEST(PrintDictionary, HoldsBackWhatANameHides) {
  dictionary made({"a\x1b[2J\n", std::string(256, 'x')});
  const std::string text = printed(print_channel_dictionary_table_2010, made.table());
  EXPECT_NE(text.find("\"a\\x1b[2J\\x0a\""), std::string::npos);
  EXPECT_NE(text.find('"' + std::string(256, 'x') + '"'), std::string::npos)
      << "a name without its closing zero";
}

TEST(PrintDictionary, ALengthThatHoldsNoEntryPrintsNone) {
  dictionary made({"A"});
  for (const int length : {-5, 0, 8, 8 + 271}) {
    made.table()->length = length;
    const std::string text = printed(print_channel_dictionary_table_2010, made.table());
    EXPECT_EQ(text.rfind("channel dictionary: 0 channels", 0), 0u) << text;
    EXPECT_EQ(text.find("[0]"), std::string::npos);
  }
}

TEST(PrintDictionary, NullIsPrintedAsNone) {
  EXPECT_EQ(printed<ravo_chan_dictionary_table_2010>(print_channel_dictionary_table_2010, nullptr),
            "channel dictionary: none\n");
}

TEST(PrintEventIndexEntry, ShowsTheLimitsAndEveryEvent) {
  std::vector<std::uint32_t> words = {RAVO_EV_NORMAL, 1735689600, 5,  1735689601, 6,          10, 11, 2,
                                      1735689600,     5,          10, 4096,       1735689601, 6,  11, 8192};
  const auto* entry = reinterpret_cast<const ravo_event_index_entry_2010*>(words.data());
  EXPECT_EQ(printed(print_event_index_entry_2010, entry),
            "event index entry: type 1 (RAVO_EV_NORMAL)  events 2  numbers 10 to 11\n"
            "  first 2025-01-01T00:00:00.000005Z (1735689600 s 5 us)\n"
            "  last  2025-01-01T00:00:01.000006Z (1735689601 s 6 us)\n"
            "  [0] event 10  time 2025-01-01T00:00:00.000005Z (1735689600 s 5 us)  offset 4096\n"
            "  [1] event 11  time 2025-01-01T00:00:01.000006Z (1735689601 s 6 us)  offset 8192\n");
}

TEST(PrintEventIndexEntry, ANegativeCountPrintsNoEvents) {
  std::vector<std::uint32_t> words = {77, 0, 0, 0, 0, 0, 0, static_cast<std::uint32_t>(-3)};
  const auto* entry = reinterpret_cast<const ravo_event_index_entry_2010*>(words.data());
  const std::string text = printed(print_event_index_entry_2010, entry);
  EXPECT_EQ(text.rfind("event index entry: type 77 (UNKNOWN)  events -3  numbers 0 to 0\n", 0), 0u);
  EXPECT_EQ(text.find("[0]"), std::string::npos);
}

TEST(PrintEventIndexEntry, NullIsPrintedAsNone) {
  EXPECT_EQ(printed<ravo_event_index_entry_2010>(print_event_index_entry_2010, nullptr),
            "event index entry: none\n");
}

}  // namespace

#include "conversion.h"

#include <array>
#include <cstring>
#include <stdexcept>

#include "ravo_daq_writer.h"
#include "ravo_payload.h"

namespace ravo::test {
namespace {

constexpr std::uint32_t noon = 1700000000;

template <class... Records>
std::vector<unsigned char> host(const Records&... records) {
  std::vector<unsigned char> all;
  const auto add = [&all](const auto& record) {
    const auto* first = reinterpret_cast<const unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; ++i) all.push_back(first[i]);
  };
  (add(records), ...);
  return all;
}

class odd_writer {
 public:
  explicit odd_writer(const std::string& folder) {
    ravo_daq_writer_settings settings;
    settings.folder = folder;
    must(writer_.open(settings));
  }

  int channel(const std::string& name, RAVO_SUBBLOCK_TYPE type,
              ravo_compression compression = ravo_compression::none, std::uint32_t key = 0,
              int env_index = -1) {
    chan_descr_2010 description{};
    name.copy(description.prop_name, sizeof description.prop_name - 1);
    std::strcpy(description.units, "mm");
    description.dtype = static_cast<std::uint32_t>(type);
    description.max_size = 77;
    ravo_daq_writer_channel declared{name, type, compression};
    declared.key = key;
    declared.env_index = env_index;
    if (key != 0) declared.description = &description;
    const int index = writer_.add_channel(declared);
    must(index);
    return index;
  }
  void event(std::uint32_t number, RAVO_EVTYPE type, time_stamp time) {
    must(writer_.begin_event({number, type, time, 0x1234, -7}));
  }
  void server(const std::string& name, time_stamp time, int pulse) {
    must(writer_.begin_server_block({name, time, pulse, 0x4321, RAVO_SB_ERR_OLD_DATA}));
  }
  void data(int channel, const std::vector<unsigned char>& data, std::int32_t error = 0) {
    must(writer_.add_data(channel, data.data(), data.size(), error));
  }
  void end() { must(writer_.end_event()); }
  std::string close() {
    must(writer_.close());
    return writer_.get_files().at(0);
  }

 private:
  void must(int status) {
    if (status < 0) throw std::runtime_error(writer_.get_last_error());
  }
  ravo_daq_writer writer_;
};

std::vector<unsigned char> cut(const std::vector<unsigned char>& from, std::size_t offset,
                               std::size_t length) {
  const auto first = from.begin() + static_cast<std::ptrdiff_t>(offset);
  return {first, first + static_cast<std::ptrdiff_t>(length)};
}

void expect_same_block(const older_raw_file& older, const older_raw_file::pointers& before,
                       const current_raw_file& current, const current_raw_file::pointers& after) {
  const auto event = older.event_at(before.evhd);
  const auto its_copy = current.event_at(after.evhd);
  EXPECT_EQ(event.number, its_copy.number);
  EXPECT_EQ(event.type, its_copy.type);
  EXPECT_EQ(event.seconds, its_copy.seconds);
  EXPECT_EQ(event.microseconds, its_copy.microseconds);
  EXPECT_EQ(event.tmask, its_copy.tmask);
  EXPECT_EQ(event.status, its_copy.status);
  EXPECT_EQ(event.server_blocks, its_copy.server_blocks);
  const auto server = older.server_block_at(before.sbhd);
  const auto server_copy = current.server_block_at(after.sbhd);
  EXPECT_EQ(server.seconds, server_copy.seconds);
  EXPECT_EQ(server.microseconds, server_copy.microseconds);
  EXPECT_EQ(server.mpulse, server_copy.mpulse);
  EXPECT_EQ(server.server, server_copy.server);
  EXPECT_EQ(server.tmask, server_copy.tmask);
  EXPECT_EQ(server.status, server_copy.status);
  EXPECT_EQ(server.channels, server_copy.channels);
  const auto block = older.block_at(before.chhd);
  const auto block_copy = current.block_at(after.chhd);
  EXPECT_EQ(block.name, block_copy.name);
  EXPECT_EQ(block.error & ~0x40000000u, block_copy.error & ~0x40000000u);
  EXPECT_EQ(expected_data(block.dtype, block.data), block_copy.data)
      << block.name << " type " << block.dtype;
  EXPECT_EQ(after.data, after.chhd + layout_2010::subhead);
}

}  // namespace

std::string write_odd_file(const temporary_folder& folder) {
  odd_writer to(folder.path().string());
  const int position = to.channel("POSITION", RAVO_BLOCK_BPM, ravo_compression::zlib, 500);
  const int scan = to.channel("SCAN", RAVO_BLOCK_WSS_RAW, ravo_compression::lzo1x);
  const int longest = to.channel(std::string(31, 'n'), RAVO_BLOCK_SINGLE, ravo_compression::none, 7);
  const int update = to.channel("MAGNET", RAVO_UPD_BLOCK, ravo_compression::none, 8);
  const int reading = to.channel("TEMPERATURE", RAVO_ENV_BLOCK, ravo_compression::none, 9, 41);
  const int begin = to.channel("BEGIN", RAVO_BOR_BLOCK);
  const int end = to.channel("END", RAVO_EOR_BLOCK);
  const int image = to.channel("CAMERA", RAVO_BLOCK_IMAGE, ravo_compression::zlib);
  const int text = to.channel("TEXT", RAVO_BLOCK_NAME_VALUE_STRING);
  to.channel("NEVER", RAVO_BLOCK_TOROID, ravo_compression::none, 600);

  const ravo_upd_data_block update_data{"THE.PROPERTY", 3, {noon, 17}, 2.5F};
  to.event(1, RAVO_EV_BOR, {noon, 5});
  to.server(std::string(47, 's'), {noon, 6}, 1);
  to.data(begin, host(update_data));
  to.end();
  for (std::uint32_t i = 0; i < 3; ++i) {
    const time_stamp time{noon + 1 + i / 2, 0};  // two of them are equal
    to.event(i == 2 ? 0 : 100 + i, RAVO_EV_NORMAL, time);
    to.server("FIRST", {time.timeup, 9}, 11);
    std::vector<unsigned char> wave = host(ravo_spect_head{3, 40, 0.5F, 0.25F}, 1.0F, 2.0F, 3.0F);
    for (int n = 0; n < 120; ++n) {
      const auto more = host(static_cast<float>(n / 40) + static_cast<float>(i));
      wave.insert(wave.end(), more.begin(), more.end());
    }
    to.data(position, wave, RAVO_FE_ADC_OVERLOAD);
    to.data(longest, host(ravo_spect_head{1, 1, 0, 1}, -0.0F, 1e-40F));
    to.server("EMPTY", {time.timeup, 10}, 12);
    to.server("SECOND", {time.timeup, 11}, 13);
    if (i != 1) to.data(scan, host(ravo_spect_head{2, 2, 0, 1}, 9.0F, 8.0F, 1.0F, 2.0F, 3.0F, 4.0F));
    to.data(text, {'b', 'e', 'a', 'm', 0});
    to.data(image,
            host(ravo_image_frame_head{8, 8, 1, 0, i, 100 + i, 64}, std::array<unsigned char, 64>{1, 2}));
    to.end();
  }
  to.event(200, RAVO_EV_UPD, {noon + 3, 0});
  to.server("SLOW", {noon + 3, 1}, -5);
  to.data(update, host(update_data), RAVO_FE_TIME_INV);
  to.end();
  to.event(201, RAVO_EV_ENV, {noon + 3, 500});
  to.server("SLOW", {noon + 3, 501}, -6);
  to.data(reading, host(ravo_env_data_block{41, 6, {noon + 3, 499}, 21.5F}));
  to.end();
  to.event(202, RAVO_EV_HB, {noon + 4, 0});  // without server blocks
  to.end();
  to.event(203, RAVO_EV_EOR, {noon + 5, 999999});
  to.server("SLOW", {noon + 5, 0}, 0);
  to.data(end, host(update_data));
  to.end();
  return to.close();
}

// By docs/raw-format.md: the head of a spectrum becomes eight words instead of four, and says that there
// are means; the property of an update becomes 256 bytes instead of 80; everything else is the same in
// both.
std::vector<unsigned char> expected_data(std::uint32_t older_type,
                                         const std::vector<unsigned char>& older) {
  const bool is_update = older_type == 1 || older_type == 4 || older_type == 5 || older_type == 31;
  const bool is_spectrum = (older_type >= 6 && older_type <= 12) || (older_type >= 14 && older_type <= 21);
  std::vector<unsigned char> data;
  const auto add = [&data](const std::vector<unsigned char>& part) {
    data.insert(data.end(), part.begin(), part.end());
  };
  if (is_update) {
    add(cut(older, 0, 80));
    data.resize(256);
    add(cut(older, 80, 16));
    return data;
  }
  if (!is_spectrum) return older;
  add(cut(older, 0, 8));                      // members, samples
  add({0, 0, 0, 1});                          // groups
  add(cut(older, 8, 8));                      // start, inc
  add({0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0});  // groups_inc, flags, spare
  add(cut(older, 16, older.size() - 16));
  return data;
}

void expect_same_contents(const older_raw_file& older, const current_raw_file& current) {
  ASSERT_EQ(older.channels().size(), current.channels().size());
  for (std::size_t i = 0; i < older.channels().size(); ++i) {
    const auto& before = older.channels()[i];
    const auto& after = current.channels()[i];
    EXPECT_EQ(before.name, after.name);
    EXPECT_EQ(before.key, after.key);
    EXPECT_EQ(before.ev_mask, after.ev_mask);
    ASSERT_EQ(before.count, after.count);
    for (std::size_t n = 0; n < before.count && !testing::Test::HasFailure(); ++n)
      expect_same_block(older, before.row.at(n), current, after.row.at(n));
  }
  EXPECT_EQ(older.environment(), current.environment());
  ASSERT_EQ(older.index().size(), current.index().size());
  for (std::size_t i = 0; i < older.index().size(); ++i) {
    const auto& before = older.index()[i];
    const auto& after = current.index()[i];
    EXPECT_EQ(before.type, after.type);
    ASSERT_EQ(before.entries.size(), after.entries.size());
    for (std::size_t n = 0; n < before.entries.size(); ++n) {
      EXPECT_EQ(before.entries[n].number, after.entries[n].number);
      EXPECT_EQ(before.entries[n].seconds, after.entries[n].seconds);
      EXPECT_EQ(before.entries[n].microseconds, after.entries[n].microseconds);
      EXPECT_EQ(older.event_at(before.entries[n].offset).server_blocks,
                current.event_at(after.entries[n].offset).server_blocks);
    }
  }
  // The heads of all server blocks, including those without channels, back to back.
  const std::size_t heads = (older.word(older.reference(160) + 4) - 8) / layout_2009::server_block;
  ASSERT_EQ(heads, (current.word(current.reference(160) + 4) - 8) / layout_2010::server_block);
  for (std::size_t i = 0; i < heads; ++i) {
    const auto before = older.server_block_at(older.reference(160) + 8 + i * layout_2009::server_block);
    const auto after = current.server_block_at(current.reference(160) + 8 + i * layout_2010::server_block);
    EXPECT_EQ(before.server, after.server);
    EXPECT_EQ(before.mpulse, after.mpulse);
    EXPECT_EQ(before.channels, after.channels);
  }
  EXPECT_EQ(without_types(older.descriptions()), without_types(current.descriptions()));
}

std::string without_types(std::string xml) {
  for (std::size_t at = xml.find(" dtype=\""); at != xml.npos; at = xml.find(" dtype=\"", at))
    xml.erase(at, xml.find('"', at + 8) + 1 - at);
  return xml;
}

}  // namespace ravo::test

// Files return what was put into them: random runs with every kind of channel are written,
// read back by the tests' own reader and compared with the list of what was given.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "raw_file.h"
#include "writing.h"

namespace {

using namespace ravo::test;

struct given_block {
  int channel;
  payload data;
  std::int32_t error;
};
struct given_server {
  ravo_daq_writer_server_block head;
  std::vector<given_block> blocks;
};
struct given_event {
  ravo_daq_writer_event head;
  std::vector<given_server> servers;
};

template <class G>
const std::vector<ravo_daq_writer_channel>& channels() {
  static const std::vector<ravo_daq_writer_channel> list = [] {
    std::vector<ravo_daq_writer_channel> all = {
        channel_of("BPM/PLAIN", G::single),
        channel_of("BPM/ZLIB", G::single, ravo_compression::zlib),
        channel_of("BPM/LZO", G::single, ravo_compression::lzo1x),
        channel_of("TEXT", RAVO_BLOCK_NAME_VALUE_STRING, ravo_compression::zlib),
        channel_of("CAMERA", RAVO_BLOCK_IMAGE, ravo_compression::lzo1x),
        channel_of("SLOW", G::update, ravo_compression::zlib),
        channel_of("TEMPERATURE", RAVO_ENV_BLOCK, ravo_compression::lzo1x),
        channel_of("NEVER", G::single, ravo_compression::zlib),
    };
    all[1].zlib_level = 1;
    all[6].env_index = 11;
    all[6].key = 2;
    return all;
  }();
  return list;
}

template <class G>
payload data_for(int channel, std::mt19937& random) {
  const auto size = static_cast<std::uint32_t>(1 + random() % 300);
  const auto level = static_cast<float>(random() % 1000);
  switch (channels<G>()[static_cast<std::size_t>(channel)].dtype) {
    case RAVO_BLOCK_NAME_VALUE_STRING:
      return text(std::string(size, 'x') + std::to_string(level));
    case RAVO_BLOCK_IMAGE:
      return image(size, 1 + size % 7, static_cast<unsigned char>(random()));
    case G::update:
      return update<typename G::layout>("SLOW.PROPERTY", noon, level);
    case RAVO_ENV_BLOCK:
      return environment(11, noon, level);
    default:
      return random() % 4 == 0
                 ? noisy_spectrum<typename G::layout>(size, static_cast<std::uint32_t>(random()))
                 : smooth_spectrum<typename G::layout>(size, level);
  }
}

template <class G>
std::vector<given_event> make_run(std::uint32_t seed, int count) {
  std::mt19937 random(seed);
  std::vector<given_event> run;
  const RAVO_EVTYPE types[] = {RAVO_EV_NORMAL, RAVO_EV_NORMAL, RAVO_EV_HB, RAVO_EV_BOR,
                               RAVO_EV_IMAGE,  RAVO_EV_UPD,    RAVO_EV_31};
  std::uint32_t seconds = noon, microseconds = 0;
  for (int i = 0; i < count; ++i) {
    microseconds += static_cast<std::uint32_t>(random() % 300000);
    seconds += microseconds / 1000000;
    microseconds %= 1000000;
    given_event event{
        event_of(static_cast<std::uint32_t>(random()) >> 1, seconds, microseconds, types[random() % 7]),
        {}};
    event.head.tmask = static_cast<std::int32_t>(random());
    event.head.status = static_cast<std::int32_t>(random());
    std::vector<int> order{0, 1, 2, 3, 4, 5, 6};
    std::shuffle(order.begin(), order.end(), random);
    std::size_t next = 0;
    for (std::size_t s = random() % 4; s > 0; --s) {
      given_server server{{"SERVER" + std::to_string(s),
                           {seconds, microseconds / 2},
                           static_cast<std::int32_t>(random()),
                           static_cast<std::int32_t>(random()),
                           static_cast<std::int32_t>(random())},
                          {}};
      for (std::size_t b = random() % 4; b > 0 && next < order.size(); --b, ++next)
        server.blocks.push_back({order[next], data_for<G>(order[next], random),
                                 static_cast<std::int32_t>(random() & 0x3fffffff)});
      event.servers.push_back(std::move(server));
    }
    run.push_back(std::move(event));
  }
  return run;
}

template <class G>
std::vector<std::string> write_run(const ravo_daq_writer_settings& settings,
                                   const std::vector<given_event>& run) {
  typename G::writer writer;
  must(writer, writer.open(settings));
  for (const ravo_daq_writer_channel& channel : channels<G>()) must(writer, writer.add_channel(channel));
  for (const given_event& event : run) {
    must(writer, writer.begin_event(event.head));
    for (const given_server& server : event.servers) {
      must(writer, writer.begin_server_block(server.head));
      for (const given_block& block : server.blocks)
        must(writer, give(writer, block.channel, block.data, block.error));
    }
    must(writer, writer.end_event());
  }
  must(writer, writer.close());
  return writer.get_files();
}

// Walks a file and the events given for it side by side.
template <class G>
class comparison {
 public:
  using raw_file = raw_file_of<typename G::layout>;

  comparison(const raw_file& file, std::span<const given_event> events) : file_(file), events_(events) {}

  void run() {
    ASSERT_EQ(file_.channels().size(), channels<G>().size());
    ASSERT_EQ(file_.events(), events_.size());
    std::size_t header = file_.reference(156) + 8;
    for (const given_event& event : events_) {
      check_event(event, header);
      header += 36;
    }
    EXPECT_EQ(server_, file_.word(file_.reference(160) + 4) - 8);
    check_dictionary();
    check_index();
  }

 private:
  void check_event(const given_event& given, std::size_t at) {
    const auto read = file_.event_at(at);
    EXPECT_EQ(read.number, given.head.event_number);
    EXPECT_EQ(read.type, static_cast<std::uint32_t>(given.head.event_type));
    EXPECT_EQ(read.seconds, given.head.time.timeup);
    EXPECT_EQ(read.microseconds, given.head.time.timelow);
    EXPECT_EQ(read.tmask, static_cast<std::uint32_t>(given.head.tmask));
    EXPECT_EQ(read.status, static_cast<std::uint32_t>(given.head.status));
    ASSERT_EQ(read.server_blocks, given.servers.size());
    std::uint32_t length = 36;
    for (const given_server& server : given.servers) length += check_server(given, server, at);
    EXPECT_EQ(read.length, length);
  }

  // Bytes of the server block.
  std::uint32_t check_server(const given_event& event, const given_server& given, std::size_t header) {
    const std::size_t at = file_.reference(160) + 8 + server_;
    server_ += G::server_block;
    const auto read = file_.server_block_at(at);
    EXPECT_EQ(read.server, given.head.server);
    EXPECT_EQ(read.seconds, given.head.time.timeup);
    EXPECT_EQ(read.microseconds, given.head.time.timelow);
    EXPECT_EQ(read.mpulse, static_cast<std::uint32_t>(given.head.mpulse));
    EXPECT_EQ(read.tmask, static_cast<std::uint32_t>(given.head.tmask));
    EXPECT_EQ(read.status, static_cast<std::uint32_t>(given.head.status));
    EXPECT_EQ(read.channels, given.blocks.size());
    std::uint32_t length = G::server_block;
    for (const given_block& block : given.blocks) length += check_block(event, block, header, at);
    EXPECT_EQ(read.length, length);
    return length;
  }

  std::uint32_t check_block(const given_event& event, const given_block& given, std::size_t header,
                            std::size_t server) {
    const auto index = static_cast<std::size_t>(given.channel);
    const auto& channel = file_.channels()[index];
    const auto& entry = channel.row.at(seen_[given.channel]++);
    masks_[given.channel] |= 1u << event.head.event_type;
    EXPECT_EQ(entry.evhd, header);
    EXPECT_EQ(entry.sbhd, server);
    const auto read = file_.block_at(entry.chhd);
    EXPECT_EQ(read.name, channels<G>()[index].name);
    EXPECT_EQ(read.dtype, static_cast<std::uint32_t>(channels<G>()[index].dtype));
    EXPECT_EQ(read.error & ~0x40000000u, static_cast<std::uint32_t>(given.error));
    EXPECT_EQ(read.data, given.data.file());
    check_compression(channels<G>()[index], read);
    return read.length;
  }

  static void check_compression(const ravo_daq_writer_channel& channel,
                                const typename raw_file::block& read) {
    if (read.zip_flags == 0) return;
    EXPECT_LT(read.length, G::subhead + read.data.size());
    EXPECT_NE(channel.dtype, G::update);
    EXPECT_NE(channel.dtype, RAVO_ENV_BLOCK);
    EXPECT_EQ(read.zip_flags, channel.compression == ravo_compression::zlib    ? 1u
                              : channel.compression == ravo_compression::lzo1x ? 2u
                                                                               : 0u);
  }

  void check_dictionary() {
    for (std::size_t i = 0; i < channels<G>().size(); ++i) {
      const auto& read = file_.channels()[i];
      EXPECT_EQ(read.name, channels<G>()[i].name);
      EXPECT_EQ(read.count, seen_[static_cast<int>(i)]) << read.name;
      EXPECT_EQ(read.ev_mask, masks_[static_cast<int>(i)]) << read.name;
      const std::uint32_t dtype = static_cast<std::uint32_t>(channels<G>()[i].dtype);
      EXPECT_EQ(read.dtype_mask, dtype < 32 ? 1u << dtype : 0u) << read.name;
    }
    EXPECT_EQ(file_.environment(), (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{2, 11}}));
  }

  void check_index() {
    for (const auto& type : file_.index()) {
      std::vector<std::size_t> of_type;
      for (std::size_t i = 0; i < events_.size(); ++i)
        if (static_cast<std::uint32_t>(events_[i].head.event_type) == type.type) of_type.push_back(i);
      ASSERT_EQ(type.entries.size(), of_type.size());
      for (std::size_t i = 0; i < of_type.size(); ++i) {
        const ravo_daq_writer_event& head = events_[of_type[i]].head;
        EXPECT_EQ(type.entries[i].seconds, head.time.timeup);
        EXPECT_EQ(type.entries[i].microseconds, head.time.timelow);
        EXPECT_EQ(type.entries[i].number, head.event_number);
        EXPECT_EQ(type.entries[i].offset, file_.reference(156) + 8 + 36 * of_type[i]);
      }
      const ravo_daq_writer_event& first = events_[of_type.front()].head;
      const ravo_daq_writer_event& last = events_[of_type.back()].head;
      EXPECT_EQ(type.first_seconds, first.time.timeup);
      EXPECT_EQ(type.first_microseconds, first.time.timelow);
      EXPECT_EQ(type.last_seconds, last.time.timeup);
      EXPECT_EQ(type.last_microseconds, last.time.timelow);
      EXPECT_EQ(type.first_number, first.event_number);
      EXPECT_EQ(type.last_number, last.event_number);
    }
  }

  const raw_file& file_;
  std::span<const given_event> events_;
  std::size_t server_ = 0;
  std::map<int, std::uint32_t> seen_, masks_;
};

template <class G>
void expect_files_hold(const std::vector<std::string>& files, const std::vector<given_event>& run) {
  std::span<const given_event> rest = run;
  for (const std::string& path : files) {
    const raw_file_of<typename G::layout> file(path);
    ASSERT_LE(file.events(), rest.size());
    comparison<G>(file, rest.first(file.events())).run();
    rest = rest.subspan(file.events());
  }
  EXPECT_TRUE(rest.empty());
}

template <class G>
class WriterModel : public testing::Test {};
TYPED_TEST_SUITE(WriterModel, generations, generation_name);

TYPED_TEST(WriterModel, EverythingGivenComesBackFromOneFile) {
  const temporary_folder folder;
  const std::vector<given_event> run = make_run<TypeParam>(1, 300);
  expect_files_hold<TypeParam>(write_run<TypeParam>(settings_in(folder), run), run);
}

TYPED_TEST(WriterModel, EverythingGivenComesBackFromManyFilesByWayOfTheSpool) {
  for (std::uint32_t seed = 2; seed < 6; ++seed) {
    const temporary_folder folder;
    ravo_daq_writer_settings settings = settings_in(folder);
    settings.max_file_bytes = 40000;
    settings.max_seconds = 7;
    settings.buffer_bytes = 3000;
    const std::vector<given_event> run = make_run<TypeParam>(seed, 200);
    const std::vector<std::string> files = write_run<TypeParam>(settings, run);
    EXPECT_GT(files.size(), 3u);
    expect_files_hold<TypeParam>(files, run);
  }
}

TYPED_TEST(WriterModel, TheBufferSizeMakesNoDifferenceToTheBytes) {
  const std::vector<given_event> run = make_run<TypeParam>(7, 150);
  const temporary_folder in_memory;
  const std::vector<unsigned char> expected =
      read_file(write_run<TypeParam>(settings_in(in_memory), run).at(0));
  for (std::size_t bytes :
       {std::size_t{0}, std::size_t{1}, std::size_t{1000}, std::size_t{5000}, std::size_t{100000}}) {
    const temporary_folder folder;
    ravo_daq_writer_settings settings = settings_in(folder);
    settings.buffer_bytes = bytes;
    EXPECT_EQ(read_file(write_run<TypeParam>(settings, run).at(0)), expected) << bytes;
  }
}

TYPED_TEST(WriterModel, TheRunsHoldPlainAndPackedBlocksOfEachCompressor) {
  // Keeps the tests above honest: they would not notice if nothing were compressed.
  using raw_file = raw_file_of<typename TypeParam::layout>;
  const temporary_folder folder;
  const raw_file file(write_run<TypeParam>(settings_in(folder), make_run<TypeParam>(1, 300)).at(0));
  const auto flags_of = [&](const std::string& name) {
    std::map<std::uint32_t, int> count;
    for (const auto& entry : file.find(name).row) ++count[file.block_at(entry.chhd).zip_flags];
    return count;
  };
  EXPECT_EQ(flags_of("BPM/PLAIN").size(), 1u);
  EXPECT_GT(flags_of("BPM/ZLIB")[0], 5);
  EXPECT_GT(flags_of("BPM/ZLIB")[1], 5);
  EXPECT_GT(flags_of("BPM/LZO")[0], 5);
  EXPECT_GT(flags_of("BPM/LZO")[2], 5);
  EXPECT_GT(flags_of("CAMERA")[2], 5);
}

}  // namespace

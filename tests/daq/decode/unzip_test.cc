// make_zlib and make_lzo: results, lengths and texts. The compressed bytes come straight from zlib and LZO.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "captured_output.h"
#include "handmade_file.h"
#include "ravo_daq_unzip.h"

// In place of the compression libraries' own: they start, or return what a test wants.
static std::atomic<int> zlib_answer{Z_OK};
static std::atomic<int> lzo_answer{LZO_E_OK};

extern "C" int inflateInit_(z_stream* stream, const char* version, int size) {
  using function = int (*)(z_stream*, const char*, int);
  static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "inflateInit_"));
  return zlib_answer != Z_OK ? zlib_answer.load() : real(stream, version, size);
}

extern "C" int __lzo_init_v2(unsigned, int, int, int, int, int, int, int, int, int) { return lzo_answer; }

namespace {

using ravo::test::bytes;
using ravo::test::captured_output;

bytes ramp(std::size_t words) {
  bytes content;
  for (std::size_t i = 0; i < words; ++i) content.u32(static_cast<std::uint32_t>(i * i));
  return content;
}

struct outcome {
  int status = 0;
  int length = 0;
  std::string text;
  std::vector<unsigned char> content;
};

using unzip_function = int (*)(unsigned char*, int, unsigned char*, int*);
int lzo(unsigned char* start, int slen, unsigned char* dest, int* dlen) {
  return make_lzo(start, slen, dest, dlen, nullptr);
}

outcome run(unzip_function unzip, std::string compressed, int room) {
  outcome result;
  result.length = room;
  result.content.resize(static_cast<std::size_t>(std::max(room, 1)));
  captured_output output;
  result.status = unzip(reinterpret_cast<unsigned char*>(compressed.data()),
                        static_cast<int>(compressed.size()), result.content.data(), &result.length);
  result.text = output.stop();
  return result;
}

TEST(MakeZlib, InflatesAWholeStream) {
  const bytes content = ramp(2048);
  const outcome result = run(make_zlib, ravo::test::compress_zlib(content), 8192);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.length, 8192);
  EXPECT_EQ(result.content, content.vector());
  EXPECT_EQ(result.text, "");
}

TEST(MakeZlib, ReportsTheSmallerSizeOfAShorterStream) {
  const outcome result = run(make_zlib, ravo::test::compress_zlib(ramp(10)), 100);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.length, 40);
}

TEST(MakeZlib, FailsWhenTheStreamHoldsMoreThanThereIsRoomFor) {
  const outcome result = run(make_zlib, ravo::test::compress_zlib(ramp(100)), 399);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text, "make_zlib() -  !!!! inflate() returnd 0 !!!!");
  EXPECT_EQ(result.length, 399);
}

TEST(MakeZlib, FailsWhenTheInputEndsEarly) {
  std::string compressed = ravo::test::compress_zlib(ramp(100));
  compressed.resize(compressed.size() - 1);
  const outcome result = run(make_zlib, compressed, 400);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text, "make_zlib() -  !!!! inflate() returnd 0 !!!!");
}

TEST(MakeZlib, FailsOnAStreamWithoutTheZlibWrapper) {
  std::string compressed = ravo::test::compress_zlib(ramp(100));
  compressed = compressed.substr(2, compressed.size() - 6);
  const outcome result = run(make_zlib, compressed, 400);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text, "make_zlib() -  !!!! inflate() returnd -3 !!!!");
}

// The two libraries behind make_zlib must agree: every damaged byte gives zlib's verdict, and never other
// bytes.
TEST(MakeZlib, AnswersAsZlibDoesForEveryDamagedByte) {
  const bytes content = ramp(60);
  const std::string good = ravo::test::compress_zlib(content);
  for (std::size_t at = 0; at < good.size(); ++at)
    for (int bit = 0; bit < 8; ++bit) {
      std::string damaged = good;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << bit));
      z_stream stream{};
      std::vector<unsigned char> expected(content.size());
      inflateInit(&stream);
      stream.next_in = reinterpret_cast<Bytef*>(damaged.data());
      stream.avail_in = static_cast<uInt>(damaged.size());
      stream.next_out = expected.data();
      stream.avail_out = static_cast<uInt>(expected.size());
      const int verdict = inflate(&stream, Z_NO_FLUSH);
      const auto produced = static_cast<int>(stream.total_out);
      inflateEnd(&stream);
      const outcome result = run(make_zlib, damaged, static_cast<int>(content.size()));
      ASSERT_EQ(result.status, verdict == Z_STREAM_END ? 0 : 1) << at << " " << bit;
      if (result.status == 0) {
        EXPECT_EQ(result.length, produced);
        EXPECT_EQ(result.content, expected);
      } else {
        EXPECT_EQ(result.text,
                  "make_zlib() -  !!!! inflate() returnd " + std::to_string(verdict) + " !!!!");
      }
    }
}

// By hand: a block of fixed codes with an "a", a length symbol that the format does not have and that zlib
// refuses, distance 1, and the end. libdeflate takes the symbol for the longest length.
TEST(MakeZlib, TakesASymbolWithoutMeaningOnlyWithTheChecksumOfWhatComesOut) {
  const std::string all_a(259, 'a');
  const auto sum =
      static_cast<std::uint32_t>(adler32(1, reinterpret_cast<const Bytef*>(all_a.data()), 259));
  const bytes stream = bytes().raw({"\x78\x9c\x4b\x1c\x03\x00", 6});
  const auto with_checksum = [&](std::uint32_t checksum) {
    const bytes whole = bytes(stream).u32(checksum);
    return std::string(whole.vector().begin(), whole.vector().end());
  };
  const outcome fitting = run(make_zlib, with_checksum(sum), 259);
  EXPECT_EQ(fitting.status, 0);
  EXPECT_EQ(fitting.length, 259);
  EXPECT_EQ(std::string(fitting.content.begin(), fitting.content.end()), all_a);
  const outcome other = run(make_zlib, with_checksum(sum + 1), 259);
  EXPECT_EQ(other.status, 1);
  EXPECT_EQ(other.text, "make_zlib() -  !!!! inflate() returnd -3 !!!!");
}

TEST(MakeZlib, TakesAStreamFollowedByBytes) {
  const bytes content = ramp(60);
  const outcome result = run(make_zlib, ravo::test::compress_zlib(content) + "behind", 240);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.content, content.vector());
}

TEST(MakeZlib, FailsOnADamagedStream) {
  std::string compressed = ravo::test::compress_zlib(ramp(100));
  compressed.back() = static_cast<char>(compressed.back() ^ 1);  // the checksum
  EXPECT_EQ(run(make_zlib, compressed, 400).status, 1);
}

TEST(MakeLzo, DecompressesAWholeStream) {
  const bytes content = ramp(2048);
  const outcome result = run(lzo, ravo::test::compress_lzo(content), 8192);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.length, 8192);
  EXPECT_EQ(result.content, content.vector());
  EXPECT_EQ(result.text, "");
}

TEST(MakeLzo, ReportsTheSmallerSizeOfAShorterStream) {
  const outcome result = run(lzo, ravo::test::compress_lzo(ramp(10)), 100);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.length, 40);
}

TEST(MakeLzo, NeverWritesPastTheRoom) {
  std::string compressed = ravo::test::compress_lzo(ramp(100));
  std::vector<unsigned char> content(400, 0xAB);
  int length = 100;
  captured_output output;
  EXPECT_EQ(make_lzo(reinterpret_cast<unsigned char*>(compressed.data()),
                     static_cast<int>(compressed.size()), content.data(), &length, nullptr),
            1);
  EXPECT_EQ(output.stop(), "make_lzo - internal error - decompression failed: -5\n");
  for (std::size_t i = 100; i < content.size(); ++i) ASSERT_EQ(content[i], 0xAB);
}

TEST(MakeLzo, FailsWhenTheInputEndsEarly) {
  std::string compressed = ravo::test::compress_lzo(ramp(100));
  compressed.resize(compressed.size() - 4);
  const outcome result = run(lzo, compressed, 400);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text, "make_lzo - internal error - decompression failed: -4\n");
}

TEST(MakeZlib, ReportsThatZlibDoesNotStart) {
  std::string compressed = ravo::test::compress_zlib(ramp(10));
  compressed.pop_back();  // a good stream does not get this far
  zlib_answer = Z_VERSION_ERROR;
  const outcome result = run(make_zlib, compressed, 40);
  zlib_answer = Z_OK;
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text, "make_zlib() - inflateInit() failed: -6 !!!\n");
}

TEST(MakeLzo, ReportsThatLzoDoesNotStart) {
  const std::string compressed = ravo::test::compress_lzo(ramp(10));
  lzo_answer = LZO_E_ERROR;
  const outcome result = run(lzo, compressed, 40);
  lzo_answer = LZO_E_OK;
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.text,
            "make_lzo - internal error - lzo_init() failed !!!\n"
            "make_lzo - (this usually indicates a compiler bug - try recompiling\nwithout optimizations, "
            "and enable "
            "`-DLZO_DEBUG' for diagnostics)\n");
}

class BothUnzippers : public testing::TestWithParam<int> {};

TEST_P(BothUnzippers, RefuseArgumentsThatAreNotThere) {
  for (int missing = 0; missing < 5; ++missing) {
    unsigned char start[8] = {};
    unsigned char dest[8];
    int room = missing == 4 ? 0 : 8;
    unsigned char* from = missing == 0 ? nullptr : start;
    const int size = missing == 1 ? 0 : 8;
    unsigned char* to = missing == 2 ? nullptr : dest;
    int* length = missing == 3 ? nullptr : &room;
    captured_output output;
    const bool zlib = GetParam() == 0;
    EXPECT_EQ(zlib ? make_zlib(from, size, to, length) : make_lzo(from, size, to, length, nullptr), 1);
    EXPECT_EQ(output.stop(),
              zlib ? "make_zlib() invalid parameter(s)\n" : "make_lzo() invalid parameter(s)\n");
  }
}

TEST_P(BothUnzippers, TakeASingleByteFromAndTo) {
  const bool zlib = GetParam() == 0;
  unsigned char start[1] = {0};
  unsigned char dest[1];
  int room = 1;
  captured_output output;
  EXPECT_EQ(zlib ? make_zlib(start, 1, dest, &room) : make_lzo(start, 1, dest, &room, nullptr), 1);
  EXPECT_EQ(output.stop().find("invalid parameter(s)"), std::string::npos)
      << "the compression library decides";
}

TEST_P(BothUnzippers, RunInManyThreadsAtOnce) {
  const bytes content = ramp(4096);
  const bool zlib = GetParam() == 0;
  const std::string compressed =
      zlib ? ravo::test::compress_zlib(content) : ravo::test::compress_lzo(content);
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 20; ++i) {
        std::string copy = compressed;
        std::vector<unsigned char> to(content.size());
        int length = static_cast<int>(to.size());
        auto* from = reinterpret_cast<unsigned char*>(copy.data());
        const int size = static_cast<int>(copy.size());
        const int status = zlib ? make_zlib(from, size, to.data(), &length)
                                : make_lzo(from, size, to.data(), &length, nullptr);
        if (status == 0 && to == content.vector()) ++good;
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(good, 160);
}

INSTANTIATE_TEST_SUITE_P(ZlibAndLzo, BothUnzippers, testing::Values(0, 1));

}  // namespace

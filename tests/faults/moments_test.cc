// A run that ends at every moment: clean_up, or the end of the object, while the table-loading thread
// loads, pauses or waits, and while workers decode. The other thread is held at one of its calls until the
// caller has to wait for it, so that each moment is met without a clock; then at the next call, and so on
// to the last.
#include <map>
#include <optional>
#include <thread>

#include "../daq/reader/api/environment_variable.h"
#include "disturbed.h"

namespace ravo::test {
namespace {

/// The distinguishable actions of the other threads: every lock, every pause, every system call and
/// allocation.
constexpr unsigned every_moment = call::lock | call::pause | call::allocation | call::open | call::read |
                                  call::stat | call::seek | call::map;

enum class ending_by { clean_up, destruction };
/// The point from which the other threads' calls are counted.
enum class counted_from { start, once_it_runs };

template <class generation>
class EveryMoment : public testing::Test {
 protected:
  /// The same two files by other names: more than are loaded ahead, so that the loading thread pauses;
  /// where it loads without a limit, so many that it still loads when the caller has started.
  EveryMoment() {
    const unsigned count = generation::records::limits_read_ahead ? 6 : 40;
    for (unsigned i = 0; i < count; i += small_run<generation>::files)
      for (unsigned file = 0; file < small_run<generation>::files; ++file) {
        const std::string number = std::to_string(10 + i + file);
        paths.push_back(
            run.other_folder().file("linac_main_run8_file" + number + "_20231114T2213" + number + "Z.raw"));
        std::filesystem::create_hard_link(run.path(file), paths.back());
      }
    for (std::string& path : paths) files.push_back(path.data());
  }

  /// One run with another thread held at a moment, if it comes to it while the caller has nothing to wait
  /// for.
  template <class object>
  void end_at(long moment, counted_from begin, unsigned steps, const std::function<int(object&)>& start) {
    const silence hushed;
    auto one = std::make_unique<object>();
    reading_outcome outcome;
    {
      std::optional<fault> armed;
      const auto arm_from = [&](counted_from now) {
        if (begin == now) armed.emplace(every_moment, moment, mishap::hold);
      };
      arm_from(counted_from::start);
      if (start(*one) == 0) {
        std::vector<ravo_channel_entry_long*> entries;
        for (unsigned i = 0; i < steps && one->get_data(nullptr, &entries, 1) == 0; ++i)
          for (const ravo_channel_entry_long* entry : entries) small_run<generation>::take(*entry, outcome);
      }
      arm_from(counted_from::once_it_runs);
      const bool is_held =
          begin == counted_from::start ? wait_until_held_or_idle() : wait_until_held_or_over();
      if (is_held) ++held_moments[begin];
      if (moment % 2 == 0)
        one->clean_up();
      else
        one.reset();
    }
    wrong += outcome.wrong;
  }

  /// Every so many moments of a whole run, and each of the first ones of what goes on when it has started.
  template <class object>
  void end_at_every_moment(const std::function<int(object&)>& start) {
    // In steps that share no factor with the length of the loading thread's loop.
    constexpr long stride = 3, most_moments = 600, moments_while_it_runs = 30;
    const resources before;
    for (long moment = 0; moment < most_moments; moment += stride)
      end_at<object>(moment, counted_from::start, static_cast<unsigned>(moment % 4), start);
    for (long moment = 0; moment < moments_while_it_runs; ++moment)
      end_at<object>(moment, counted_from::once_it_runs, static_cast<unsigned>(moment % 3), start);
    // How much is done while the caller waits is up to the system's scheduler. But a loading thread that
    // has read ahead far enough pauses until it is stopped: none of its moments can be missed. One that
    // loads all there is may be through before the caller gets to it.
    if (generation::records::limits_read_ahead) {
      EXPECT_EQ(held_moments[counted_from::once_it_runs], moments_while_it_runs);
    }
    EXPECT_GE(held_moments[counted_from::start] + held_moments[counted_from::once_it_runs], 1);
    testing::Test::RecordProperty("held_moments", std::to_string(held_moments[counted_from::start]));
    testing::Test::RecordProperty("held_moments_while_it_runs",
                                  std::to_string(held_moments[counted_from::once_it_runs]));
    EXPECT_EQ(wrong, 0u);
    before.expect_same("after all");
  }

  const small_run<generation> run;
  const wanted_channels<generation> wanted;
  std::vector<std::string> paths;
  std::vector<char*> files;
  std::map<counted_from, long> held_moments;
  unsigned wrong = 0;
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(EveryMoment, generations, generation_name);

TYPED_TEST(EveryMoment, ASlicerEndsWhileItsThreadsRun) {
  using slicer = typename TypeParam::slicer;
  this->template end_at_every_moment<slicer>([&](slicer& one) {
    const int status = one.init(&this->files, this->wanted.params(), 0);
    return status == 0 ? one.start() : status;
  });
}

TYPED_TEST(EveryMoment, AReaderEndsWhileItsThreadsRun) {
  using reader = typename TypeParam::reader;
  this->template end_at_every_moment<reader>([&](reader& one) {
    const int status = one.init(&this->files, this->wanted.entries());
    return status == 0 ? one.start() : status;
  });
}

// A channel reader alone: its start does not wait for its workers.
TYPED_TEST(EveryMoment, AChannelReaderEndsWhileItsWorkersDecode) {
  typename TypeParam::loader loader(0);
  ASSERT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), 0);
  const resources before;
  long held = 0;
  for (const char* const channel : {"ZLIB", "LZO", "PLAIN", "SLOW"})
    for (long moment = 0; moment < 200; ++moment) {
      const silence hushed;
      auto reader = std::make_unique<typename TypeParam::read_chan>(&loader, channel, -1, nullptr);
      reader->set_number_of_threads(1 + static_cast<int>(moment % 3));
      const fault armed(every_moment, moment, mishap::hold);
      ASSERT_EQ(reader->start(nullptr, nullptr, nullptr), 0);
      if (wait_until_held_or_idle()) ++held;
      // Asked during decoding, it answers for what is decoded, and does not wait.
      ravo_channel_entry_long* entry = nullptr;
      const ravo_time_id event{100, {}};
      const int status = reader->get_chan_data(&event, &entry, 0);
      ASSERT_TRUE(status == 0 || status == RAVO_DAQ_READ_CHAN_NO_DATA ||
                  status == RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW)
          << status;
      if (moment % 2 == 0)
        reader->clean();
      else
        reader.reset();
      if (!armed.happened()) break;
    }
  EXPECT_GE(held, 30);
  before.expect_same("after all");
}

// ---- many at once ---------------------------------------------------------------------------------

TYPED_TEST(EveryMoment, ThirtyTwoReadersOfTheSameFilesReadEachForItself) {
  constexpr unsigned readers = 32;
  std::vector<reading_outcome> outcomes(readers);
  const resources before;
  {
    const silence hushed;
    std::vector<std::thread> threads;
    for (reading_outcome& outcome : outcomes)
      threads.emplace_back([&run = this->run, &outcome] {
        for (int round = 0; round < 2; ++round) {
          reader_way<TypeParam> way(run);
          way.run(outcome);
          if (outcome.read != way.expected()) ++outcome.wrong;
        }
      });
    for (std::thread& thread : threads) thread.join();
  }
  for (const reading_outcome& outcome : outcomes) {
    EXPECT_EQ(outcome.wrong, 0u);
    EXPECT_EQ(outcome.status, RAVO_DAQ_READER_OUT_OF_WINDOW);
  }
  before.expect_same("after all");
}

}  // namespace
}  // namespace ravo::test

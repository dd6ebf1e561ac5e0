// A run that ends at every moment: clean_up, or the end of the object, while the table-loading thread loads, pauses
// or waits, and while workers decode. The other thread is held at one of its calls until the caller has to wait
// for it, so that each moment is met without a clock; then at the next call, and so on to the last.
#include <thread>

#include "../daq/reader/reader/environment_variable.h"
#include "disturbed.h"

namespace ravo::test {
namespace {

/// What the other threads do that can be told apart: every lock, every pause, every system call and allocation.
constexpr unsigned every_moment =
    call::lock | call::pause | call::allocation | call::open | call::read | call::stat | call::seek | call::map;

enum class ending_by { clean_up, destruction };

template <class generation>
class EveryMoment : public testing::Test {
 protected:
  /// The same two files by other names: more than are loaded ahead, so that the loading thread pauses; where it
  /// loads without end, so many that it still does when the caller has started.
  EveryMoment() {
    const unsigned count = generation::records::limits_read_ahead ? 6 : 40;
    for (unsigned i = 0; i < count; i += small_run<generation>::files)
      for (unsigned file = 0; file < small_run<generation>::files; ++file) {
        const std::string number = std::to_string(10 + i + file);
        paths.push_back(run.other_folder().file("linac_main_run8_file" + number + "_20231114T2213" + number + "Z.raw"));
        std::filesystem::create_hard_link(run.path(file), paths.back());
      }
    for (std::string& path : paths) files.push_back(path.data());
  }

  /// One run with another thread held at a moment, if it comes to it while the caller has nothing to wait for.
  template <class object>
  void end_at(long moment, ending_by how, unsigned steps, const std::function<int(object&)>& start) {
    const silence hushed;
    auto one = std::make_unique<object>();
    reading_outcome outcome;
    {
      const fault armed(every_moment, moment, mishap::hold);
      if (start(*one) == 0) {
        std::vector<ravo_channel_entry_long*> entries;
        for (unsigned i = 0; i < steps && one->get_data(nullptr, &entries, 1) == 0; ++i)
          for (const ravo_channel_entry_long* entry : entries) small_run<generation>::take(*entry, outcome);
      }
      if (wait_until_held_or_idle()) ++held_moments;
      if (how == ending_by::clean_up) one->clean_up();
      if (how == ending_by::destruction) one.reset();
    }
    wrong += outcome.wrong;
  }

  const small_run<generation> run;
  const wanted_channels<generation> wanted;
  std::vector<std::string> paths;
  std::vector<char*> files;
  long held_moments = 0;
  unsigned wrong = 0;
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(EveryMoment, generations, generation_name);

// In steps that share no factor with the length of what the loading thread does again and again.
constexpr long stride = 3;
constexpr long most_moments = 600;

TYPED_TEST(EveryMoment, ASlicerEndsWhileItsThreadsRun) {
  using slicer = typename TypeParam::slicer;
  const std::function<int(slicer&)> start = [&](slicer& one) {
    const int status = one.init(&this->files, this->wanted.params(), 0);
    return status == 0 ? one.start() : status;
  };
  const resources before;
  for (long moment = 0; moment < most_moments; moment += stride)
    this->template end_at<slicer>(moment, moment % 2 == 0 ? ending_by::clean_up : ending_by::destruction,
                                       static_cast<unsigned>(moment % 4), start);
  EXPECT_GE(this->held_moments, 1);
  testing::Test::RecordProperty("held_moments", std::to_string(this->held_moments));
  EXPECT_EQ(this->wrong, 0u);
  before.expect_same("after all");
}

TYPED_TEST(EveryMoment, AReaderEndsWhileItsThreadsRun) {
  using reader = typename TypeParam::reader;
  const std::function<int(reader&)> start = [&](reader& one) {
    const int status = one.init(&this->files, this->wanted.entries());
    return status == 0 ? one.start() : status;
  };
  const resources before;
  for (long moment = 1; moment < most_moments; moment += stride)
    this->template end_at<reader>(moment, moment % 2 == 0 ? ending_by::clean_up : ending_by::destruction,
                                       static_cast<unsigned>(moment % 3), start);
  EXPECT_GE(this->held_moments, 1);
  testing::Test::RecordProperty("held_moments", std::to_string(this->held_moments));
  EXPECT_EQ(this->wrong, 0u);
  before.expect_same("after all");
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
      // Asked in the middle of it, it answers for what is decoded, and does not wait.
      ravo_channel_entry_long* entry = nullptr;
      const ravo_time_id event{100, {}};
      const int status = reader->get_chan_data(&event, &entry, 0);
      ASSERT_TRUE(status == 0 || status == RAVO_DAQ_READ_CHAN_NO_DATA || status == RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW)
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

// Memory that is refused, at every allocation of a small run in turn: for one allocation, and from
// one on until the run has ended. In any layer, at any moment.
#include <array>

#include "../daq/reader/api/environment_variable.h"
#include "disturbed.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::test {
namespace {

template <class generation>
class WithoutMemory : public testing::Test {
 protected:
  template <template <class> class way>
  static void disturb(long at_least) {
    const small_run<generation> run;
    for (const extent reach : {extent::one_call, extent::all_from_there}) {
      const faring fared =
          disturb_every_call<way<generation>>(run, {call::allocation, mishap::failure, ENOMEM, reach});
      EXPECT_GE(fared.calls, at_least);
    }
  }
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(WithoutMemory, generations, generation_name);

TYPED_TEST(WithoutMemory, ALoaderAnswersWithAStatus) { this->template disturb<loader_way>(10); }
TYPED_TEST(WithoutMemory, AChannelReaderAnswersWithAStatus) { this->template disturb<channel_way>(50); }
TYPED_TEST(WithoutMemory, ASlicerAnswersWithAStatus) { this->template disturb<slicer_way>(100); }
TYPED_TEST(WithoutMemory, AReaderAnswersWithAStatus) { this->template disturb<reader_way>(100); }
TYPED_TEST(WithoutMemory, ARequestAnswersWithAStatus) { this->template disturb<request_way>(100); }

TYPED_TEST(WithoutMemory, ARequestToTheCatalogueAnswersWithAStatus) {
  const small_run<TypeParam> run;
  catalogue::build_settings settings;
  settings.raw_folder = run.folder().path().string();
  settings.catalogue_directory = run.other_folder().path().string();
  settings.closed_after = -1;
  ASSERT_TRUE(catalogue::build(settings, {}).problems.empty());
  for (const extent reach : {extent::one_call, extent::all_from_there})
    EXPECT_GE(
        disturb_every_call<request_way<TypeParam>>(run, {call::allocation, mishap::failure, ENOMEM, reach})
            .calls,
        150);
}

// ---- the user layer, whose own readers are of the older generation ----------------------------------

class UserLayerWithoutMemory : public testing::Test {
 protected:
  template <class way>
  static void disturb(long at_least) {
    const small_run<older_generation> run;
    for (const extent reach : {extent::one_call, extent::all_from_there})
      EXPECT_GE(disturb_every_call<way>(run, {call::allocation, mishap::failure, ENOMEM, reach}).calls,
                at_least);
  }
};

TEST_F(UserLayerWithoutMemory, AListOfFilesAnswersWithAStatus) { disturb<listed_way>(100); }
TEST_F(UserLayerWithoutMemory, ABrowserAnswersWithAStatus) { disturb<browser_way>(8); }

// ---- nothing is thrown ------------------------------------------------------------------------------

/// The status of every operation of a reader, in the order of the calls.
struct answers {
  std::array<int, 64> statuses{};
  std::size_t count = 0;
  bool has_thrown = false;
  void note(int status) { statuses[count++] = status; }
};

template <class generation>
void call_everything(const small_run<generation>& run, const wanted_channels<generation>& wanted,
                     std::vector<typename generation::records::chan_descr*>& found, answers& got) {
  typename generation::reader reader;
  const char* const path = run.path().c_str();
  const ravo_time_id point{0, {1700000000, 0}};
  got.note(reader.set_period(nullptr));
  got.note(reader.set_start_point(&point));
  got.note(reader.set_stop_point(nullptr));
  got.note(reader.set_experiment(nullptr));
  got.note(reader.set_stream("main"));
  got.note(reader.set_catalog_dir("a folder with a name that is too long for a small text"));
  got.note(reader.set_data_dir(run.folder().path().c_str()));
  got.note(reader.set_data_dir(""));
  reader.set_data_path_list(run.folder().path().c_str());
  got.note(reader.add_file(std::strrchr(path, '/') + 1, true));
  got.note(reader.remove_file("no file has this in its name"));
  got.note(reader.remove_file("linac"));
  got.note(reader.add_file("no_file_has_this_name.raw", false));
  int count = 0;
  got.note(reader.get_number_of_channels(path, &count, 1));
  reader.print_all_channels(path);
  got.note(reader.fill_chan_descr(path, &found));
  got.note(reader.print_event_index_table(path, -1));
  if constexpr (generation::records::prints_channels) {
    reader.print_channel_event_headers(path, "ZLIB");
    reader.print_channel_channel(path, "LZO");
  }
  reader.clean_up();
  got.note(reader.set_channels(nullptr));
  got.note(reader.set_channels(wanted.entries()));
  got.note(reader.rem_channel("PLAIN"));
  got.note(reader.rem_channel("PLAIN"));
  got.note(reader.add_file(path, true));
  reader.sort_my_files();
  got.note(static_cast<int>(reader.get_time_period_us()));
  reader.print_files();
  reader.print_channels();
  got.note(reader.check_request());
  got.note(reader.start());
  got.note(reader.get_data(nullptr, nullptr, 1));
  reader.clean_up();
}

template <class generation>
answers try_everything(const small_run<generation>& run, const wanted_channels<generation>& wanted) {
  answers got;
  std::vector<typename generation::records::chan_descr*> found;
  try {
    call_everything<generation>(run, wanted, found, got);
  } catch (...) {
    got.has_thrown = true;
  }
  return got;
}

TYPED_TEST(WithoutMemory, NoOperationOfAReaderThrowsAndEachAnswersForItself) {
  const small_run<TypeParam> run;
  const wanted_channels<TypeParam> wanted;
  const auto quietly = [&] {
    const silence hushed;
    return try_everything<TypeParam>(run, wanted);
  };
  const answers good = quietly();
  const long threads = settled_threads(idle_threads());
  ASSERT_FALSE(good.has_thrown);
  for (const extent reach : {extent::one_call, extent::all_from_there})
    for (long which = 0;; ++which) {
      ASSERT_LT(which, 2000);
      const allocation_count memory;
      const fault armed(call::allocation, which, mishap::failure, ENOMEM, reach);
      const answers got = quietly();
      const bool happened = armed.happened();
      armed.disarm();
      ASSERT_LE(settled_threads(threads), threads) << which;  // a decoder's memory goes with its thread
      ASSERT_FALSE(got.has_thrown) << which;
      ASSERT_EQ(memory.living(), 0) << which << " " << memory.places();
      ASSERT_EQ(got.count, good.count);
      for (std::size_t i = 0; i < good.count; ++i)
        if (happened)
          ASSERT_TRUE(got.statuses[i] == good.statuses[i] || got.statuses[i] < 0) << which << " " << i;
        else
          ASSERT_EQ(got.statuses[i], good.statuses[i]) << i;
      if (!happened) break;
    }
}

}  // namespace
}  // namespace ravo::test

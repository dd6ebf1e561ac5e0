// Memory that is not to be had, at every allocation of a small run in turn: for one allocation, and from one on
// until the run has ended. Whatever the layer, whatever the moment.
#include "../daq/reader/reader/environment_variable.h"
#include "disturbed.h"

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

}  // namespace
}  // namespace ravo::test

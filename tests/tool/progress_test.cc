// The progress bar: when it is shown, what it says, and that
// it leaves no trace. The test's own clock gives the time.
#include "common/progress.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using namespace ravo::tool;
using namespace std::chrono_literals;

/// A terminal that keeps what is printed.
class Progress : public testing::Test {
 protected:
  Progress() : terminal_(open_memstream(&text_, &size_)) {}
  ~Progress() override {
    std::fclose(terminal_);
    std::free(text_);
  }
  progress_bar bar() {
    return progress_bar("reading", terminal_, [this] { return now_; });
  }
  void pass(std::chrono::milliseconds time) { now_ += time; }
  /// What was printed since the last call.
  std::string printed() {
    std::fflush(terminal_);
    const std::string all(text_, size_);
    const std::string more = all.substr(seen_);
    seen_ = all.size();
    return more;
  }

  std::FILE* terminal() { return terminal_; }

 private:
  progress_bar::clock::time_point now_{};
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::size_t seen_ = 0;
  std::FILE* terminal_;
};

TEST_F(Progress, OfShortWorkIsNotShown) {
  {
    progress_bar short_work = bar();
    short_work.show(0.1);
    pass(999ms);
    short_work.show(0.9);
  }
  EXPECT_EQ(printed(), "");
}

TEST_F(Progress, SaysHowMuchIsDoneAndHowLongTheRestTakes) {
  progress_bar long_work = bar();
  pass(2000ms);
  long_work.show(0.5);
  EXPECT_EQ(printed(), "\rreading [###############...............]  50 %, 2.0 s left\033[K");
  pass(100ms);
  long_work.show(1.0);
  EXPECT_EQ(printed(), "\rreading [##############################] 100 %, 0 ms left\033[K");
}

TEST_F(Progress, IsShownTenTimesASecondAtMost) {
  progress_bar long_work = bar();
  pass(1000ms);
  long_work.show(0.01);
  EXPECT_EQ(printed(), "\rreading [..............................]   1 %\033[K");
  pass(99ms);
  long_work.show(0.5);
  EXPECT_EQ(printed(), "");
  pass(1ms);
  long_work.show(0.5);
  EXPECT_NE(printed(), "");
}

TEST_F(Progress, StaysBetweenNothingAndAll) {
  progress_bar long_work = bar();
  pass(1000ms);
  long_work.show(-1);
  EXPECT_NE(printed().find("[..............................]   0 %"), std::string::npos);
  pass(100ms);
  long_work.show(7);
  EXPECT_NE(printed().find("[##############################] 100 %"), std::string::npos);
}

TEST_F(Progress, IsWipedAwayWhenItIsHiddenAndAtTheEnd) {
  {
    progress_bar long_work = bar();
    pass(1000ms);
    long_work.show(0.3);
    printed();
    long_work.hide();
    EXPECT_EQ(printed(), "\r\033[K");
    long_work.hide();
    EXPECT_EQ(printed(), "");
    pass(100ms);
    long_work.show(0.4);
    printed();
  }
  EXPECT_EQ(printed(), "\r\033[K");
}

TEST_F(Progress, IsNotShownWhereThereIsNoTerminal) {
  progress_bar nowhere("reading", nullptr, [] { return progress_bar::clock::time_point(1h); });
  EXPECT_FALSE(nowhere.is_on_terminal());
  nowhere.show(0.5);
  nowhere.hide();
  EXPECT_TRUE(bar().is_on_terminal());
}

}  // namespace

// Requests of an archive of thousands of files, from the run catalogue and by the names in the data
// directory, compared with a model that checks every file of the archive in turn.
#include "requested_reader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

#include "api/channels-inl.h"
#include "api/data_paths-inl.h"
#include "api/edge_files-inl.h"
#include "api/file_registry-inl.h"
#include "api/inspection-inl.h"
#include "api/local_scan-inl.h"
#include "api/queries-inl.h"
#include "api/request_check-inl.h"
#include "api/request_init-inl.h"
#include "api/retrieval-inl.h"
#include "api/run_window-inl.h"
#include "api/settings-inl.h"
#include "api/start-inl.h"
#include "api/time_period-inl.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::test {

/// Scripted layers, but the library's own run catalogue.
template <class rules>
struct catalogued : scripted<rules> {};

}  // namespace ravo::test

namespace ravo {
template <class rules>
struct table_operations<test::catalogued<rules>> : table_operations<rules> {};
template <class rules>
struct reader_texts<test::catalogued<rules>> : reader_texts<rules> {};
}  // namespace ravo

namespace ravo::test {
namespace {

struct archived_file {
  std::string name;
  std::string experiment;
  std::string stream;
  int run;
  int number;
  unsigned start;  ///< seconds of the tests' clock
  unsigned end;
  bool complete;
};

/// Streams write at the same time, each in files of its own lengths, and runs follow one another with gaps.
class archive {
 public:
  explicit archive(unsigned seed) : random_(seed) {
    for (const char* experiment : {"linac", "laser", "exp-2"})
      for (const char* stream : {"main", "fast"}) write_stream(experiment, stream);
    std::vector<std::string> all;
    for (const archived_file& file : files_) folder_.write(file.name, {});
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path()))
      in_directory_order_.push_back(&find(entry.path().filename().string()));
  }

  const std::vector<archived_file>& files() const { return files_; }
  const std::vector<const archived_file*>& in_directory_order() const { return in_directory_order_; }
  std::string directory() const { return folder_.path().string(); }
  unsigned last_second() const { return last_second_; }
  const archived_file& find(const std::string& name) const { return files_[position_.at(name)]; }

 private:
  unsigned number(unsigned low, unsigned high) {
    return std::uniform_int_distribution<unsigned>(low, high)(random_);
  }
  void write_stream(const std::string& experiment, const std::string& stream) {
    unsigned second = number(0, 50);
    for (int run = 1; run <= 12; ++run) {
      const int count = static_cast<int>(number(1, 60));
      for (int file = 1; file <= count; ++file) {
        const unsigned length = number(1, 40);
        add({raw_name(run, file, second, experiment, stream), experiment, stream, run, file, second,
             second + length - 1, number(0, 50) != 0});
        second += length;
      }
      second += number(0, 100);
    }
    last_second_ = std::max(last_second_, second);
  }
  void add(archived_file file) {
    position_[file.name] = files_.size();
    files_.push_back(std::move(file));
  }

  std::mt19937 random_;
  temporary_folder folder_;
  std::vector<archived_file> files_;
  std::map<std::string, std::size_t> position_;
  std::vector<const archived_file*> in_directory_order_;
  unsigned last_second_ = 0;
};

const archive& the_archive() {
  static const archive made(20250101);
  return made;
}

using file_list = std::vector<const archived_file*>;

names names_of(file_list files) {
  std::sort(files.begin(), files.end(), [](const archived_file* a, const archived_file* b) {
    return std::tuple(a->start, a->run, a->number, a->name) <
           std::tuple(b->start, b->run, b->number, b->name);
  });
  files.erase(std::unique(files.begin(), files.end()), files.end());
  names all;
  for (const archived_file* file : files) all.push_back(file->name);
  return all;
}

struct period {
  unsigned start = 0;
  unsigned stop = 0;
  bool is_given() const { return stop != 0; }
  bool holds(unsigned second) const { return second >= start && second <= stop; }
  bool meets(const archived_file& file) const { return file.end >= start && file.start <= stop; }
};

template <class generation>
class ArchiveModel : public requested_reader<generation> {
 protected:
  ArchiveModel() {
    std::snprintf(this->request.ddir, sizeof this->request.ddir, "%s", the_archive().directory().c_str());
  }
  unsigned number(unsigned low, unsigned high) {
    return std::uniform_int_distribution<unsigned>(low, high)(random);
  }
  std::string one_of(const names& choice) {
    return choice[number(0, static_cast<unsigned>(choice.size()) - 1)];
  }
  /// Short ones inside a file, long ones over runs, and some beyond the archive's end.
  period some_period() {
    const unsigned start = number(1, the_archive().last_second() + 100);
    return {start, start + number(0, number(0, 1) == 0 ? 20 : 2000)};
  }
  void ask(const std::string& experiment, const std::string& stream, const period& when) {
    std::strcpy(this->request.exp_name, experiment.c_str());
    std::strcpy(this->request.stream_name, stream.c_str());
    this->request.start_time = this->request.stop_time = {};
    if (when.is_given()) this->ask_for_period(when.start, when.stop);
  }
  std::mt19937 random{7};
};
TYPED_TEST_SUITE(ArchiveModel, generations, generation_name);

// ---- by names -------------------------------------------------------------------------------------

/// The file of the archive with the next or previous number.
const archived_file* neighbour_of(const archived_file& file, int step) {
  for (const archived_file& other : the_archive().files()) {
    if (other.experiment == file.experiment && other.stream == file.stream && other.run == file.run &&
        other.number == file.number + step)
      return &other;
  }
  return nullptr;
}

/// The files with those next to the first and the last of them.
file_list widened(file_list files, const period& when) {
  if (files.empty()) return files;
  const names sorted = names_of(files);
  const archived_file& first = the_archive().find(sorted.front());
  const archived_file& last = the_archive().find(sorted.back());
  if (!when.is_given() || first.start >= when.start)
    if (const archived_file* previous = neighbour_of(first, -1)) files.push_back(previous);
  // What came before the first is by then part of the list, but never its last file.
  if (const archived_file* next = neighbour_of(last, 1)) files.push_back(next);
  return files;
}

TYPED_TEST(ArchiveModel, ScansForPeriodsGiveTheFilesOfTheModel) {
  int without_files = 0, with_candidate = 0;
  for (int i = 0; i < 150; ++i) {
    const std::string experiment = this->one_of({"linac", "laser", "exp-2"});
    const period when = this->some_period();
    file_list expected;
    const archived_file* candidate = nullptr;
    for (const archived_file* file : the_archive().in_directory_order()) {
      if (when.holds(file->start)) expected.push_back(file);
      if (!candidate || (file->start > candidate->start && file->start < when.start)) candidate = file;
    }
    const archived_file* last_met = the_archive().in_directory_order().back();
    if (expected.empty() && (candidate->start <= when.stop || last_met->start <= when.stop)) {
      expected.push_back(candidate);
      ++with_candidate;
    }
    std::erase_if(expected, [&](const archived_file* file) { return file->experiment != experiment; });
    without_files += expected.empty();

    this->ask(experiment, "main", when);
    EXPECT_EQ(this->init(), expected.empty() ? -10 : 0);
    EXPECT_EQ(this->files(), names_of(widened(expected, when)))
        << experiment << " " << when.start << " " << when.stop;
  }
  EXPECT_GT(without_files, 0);
  EXPECT_GT(with_candidate, 0);
  EXPECT_LT(without_files, 100);
}

TYPED_TEST(ArchiveModel, ScansForRunsGiveTheFilesOfTheModel) {
  for (const archived_file& file : the_archive().files())
    the_loader.index_of_file[file.name] = this->index_of(file.start, file.end);
  int earlier_files = 0;
  for (int i = 0; i < 60; ++i) {
    const std::string experiment = this->one_of({"linac", "laser", "exp-2"});
    const int first = static_cast<int>(this->number(1, 13));
    const int last = first + static_cast<int>(this->number(0, 2));
    const period when = this->number(0, 1) == 0 ? period{} : this->some_period();
    file_list expected;
    for (const archived_file& file : the_archive().files()) {
      if (file.experiment != experiment || file.run < first || file.run > last) continue;
      // The older generation goes by the name alone.
      if (when.is_given() && !(either<TypeParam>(true, false) ? when.meets(file) : when.holds(file.start)))
        continue;
      expected.push_back(&file);
      earlier_files += when.is_given() && file.start < when.start;
    }
    this->ask(experiment, "main", when);
    this->ask_for_runs(first, last);
    EXPECT_EQ(this->init(), expected.empty() ? -10 : 0);
    EXPECT_EQ(this->files(), names_of(widened(expected, when)))
        << experiment << " " << first << " to " << last;
  }
  EXPECT_EQ(earlier_files > 0, either<TypeParam>(true, false));
}

// ---- from the catalogue ---------------------------------------------------------------------------

template <class generation>
class CataloguedArchive : public ArchiveModel<generation> {
 protected:
  CataloguedArchive() {
    std::snprintf(this->request.cdir, sizeof this->request.cdir, "%s", catalogue_folder().path().c_str());
  }
  static const temporary_folder& catalogue_folder() {
    static const temporary_folder made;
    static const bool is_filled = fill(made.path().string());
    EXPECT_TRUE(is_filled);
    return made;
  }
  static bool fill(const std::string& directory) {
    std::map<std::tuple<std::string, std::string, int>, catalogue::run_entry> runs;
    for (const archived_file& file : the_archive().files()) {
      catalogue::run_entry& run = runs[{file.experiment, file.stream, file.run}];
      run.experiment = file.experiment;
      run.stream = file.stream;
      run.run = file.run;
      catalogue::raw_file_entry entry;
      entry.path = the_archive().directory() + "/" + file.name;
      entry.events = 10;
      entry.start = {clock_zero + file.start, 1};
      entry.end = {clock_zero + file.end, 999999};
      entry.complete = file.complete;
      run.files.push_back(entry);
    }
    std::vector<catalogue::run_entry> all;
    for (auto& [key, run] : runs) all.push_back(std::move(run));
    return catalogue::add_runs(directory, all).empty();
  }
  int init_catalogued() {
    captured_output captured;
    const int status = reader_with_catalogue.init(&this->request, nullptr);
    this->output = captured.stop();
    return status;
  }
  daq_reader<catalogued<typename generation::records>> reader_with_catalogue;
};
TYPED_TEST_SUITE(CataloguedArchive, generations, generation_name);

TYPED_TEST(CataloguedArchive, PeriodsGiveTheFilesOfTheModel) {
  int with_files = 0;
  for (int i = 0; i < 100; ++i) {
    const std::string experiment = this->one_of({"linac", "laser", "exp-2"}),
                      stream = this->one_of({"main", "fast"});
    const period when = this->some_period();
    file_list expected;
    for (const archived_file& file : the_archive().files())
      if (file.experiment == experiment && file.stream == stream && file.complete && when.meets(file))
        expected.push_back(&file);
    if (expected.empty()) continue;  // then names decide
    ++with_files;
    this->ask(experiment, stream, when);
    ASSERT_EQ(this->init_catalogued(), 0);
    EXPECT_EQ(is_marked_by_catalogue(this->reader_with_catalogue), either<TypeParam>(true, false));
    EXPECT_EQ(bare_names(this->reader_with_catalogue), names_of(expected))
        << experiment << " " << when.start << " " << when.stop;
    EXPECT_EQ(this->output, "");
  }
  EXPECT_GT(with_files, 50);
}

TYPED_TEST(CataloguedArchive, RunsGiveTheFilesOfTheModel) {
  int cut = 0;
  for (int i = 0; i < 100; ++i) {
    const std::string experiment = this->one_of({"linac", "laser", "exp-2"}),
                      stream = this->one_of({"main", "fast"});
    const int first = static_cast<int>(this->number(1, 12));
    const int last = first + static_cast<int>(this->number(0, 3));
    const period when = this->number(0, 1) == 0 ? period{} : this->some_period();
    file_list of_runs, of_period, of_both;
    for (const archived_file& file : the_archive().files()) {
      if (file.experiment != experiment || file.stream != stream || !file.complete) continue;
      const bool is_of_runs = file.run >= first && file.run <= last;
      if (is_of_runs) of_runs.push_back(&file);
      if (when.meets(file)) of_period.push_back(&file);
      if (is_of_runs && when.meets(file)) of_both.push_back(&file);
    }
    // Without an answer for the period, the runs stay whole, and in the older generation always.
    const bool are_cut = either<TypeParam>(true, false) && when.is_given() && !of_period.empty();
    const file_list& expected = are_cut ? of_both : of_runs;
    if (of_runs.empty()) continue;
    cut += expected.size() < of_runs.size();
    this->ask(experiment, stream, when);
    this->ask_for_runs(first, last);
    EXPECT_EQ(this->init_catalogued(), expected.empty() ? -10 : 0);
    EXPECT_EQ(bare_names(this->reader_with_catalogue), names_of(expected))
        << experiment << " " << first << " to " << last;
  }
  EXPECT_EQ(cut > 10, either<TypeParam>(true, false));
}

TYPED_TEST(CataloguedArchive, RunsWithoutAPeriodGetTheirWindowFromTheCatalogue) {
  for (int run = 1; run <= 12; ++run) {
    unsigned start = ~0u, end = 0;
    for (const archived_file& file : the_archive().files()) {
      if (file.experiment != "laser" || file.run != run) continue;  // of all streams
      start = std::min(start, file.start);
      end = std::max(end, file.end);
    }
    this->ask("laser", "fast", {});
    this->ask_for_runs(run, run);
    ASSERT_EQ(this->init_catalogued(), 0);
    EXPECT_EQ(this->reader_with_catalogue.get_start_point()->time.timeup, clock_zero + start);
    EXPECT_EQ(this->reader_with_catalogue.get_stop_point()->time.timeup, clock_zero + end + 1)
        << "after the last microseconds";
  }
}

}  // namespace
}  // namespace ravo::test

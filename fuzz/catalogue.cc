// The XML of the run catalogue: the input is the text of a run's file or of a day's. What is understood can
// be written, and then means the same; and a catalogue that holds the text answers look-ups with it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "catalogue/documents.h"
#include "expect.h"
#include "input.h"
#include "quiet.h"
#include "ravo_run_catalogue.h"
#include "temporary_folder.h"

namespace ravo::fuzz {
namespace {

constexpr unsigned noon = 1'740'830'400;  // of 2025-03-01, the day of the catalogue below

/// A catalogue of one stream, in which the input is a run's file, a day's, or the one for long files.
class one_stream {
 public:
  one_stream() {
    std::filesystem::create_directories(folder_.path() / "linac/main/runs/1");
    std::filesystem::create_directories(folder_.path() / "linac/main/days/2025/03");
    write(
        "runs/1/run1208.xml",
        R"(<ravo_run version="1" experiment="linac" stream="main" run="1208" start="2025-03-01T08:00:00.000000Z" )"
        R"(end="2025-03-01T09:00:00.000000Z"><file path="/data/a.raw" bytes="1" events="1" )"
        R"(start="2025-03-01T08:00:00.000000Z" end="2025-03-01T09:00:00.000000Z" complete="yes"/></ravo_run>)");
  }

  void write(const std::string& name, std::string_view text) const {
    std::ofstream(folder_.path() / "linac/main" / name, std::ios::binary | std::ios::trunc) << text;
  }
  void remove(const std::string& name) const {
    std::filesystem::remove(folder_.path() / "linac/main" / name);
  }

  void ask() const {
    const std::string directory = folder_.path().string();
    std::vector<ravo_root_xml_files*> found;
    int first = 1207, second = 1208;
    const std::vector<int*> runs{&first, &second};
    const int of_runs = get_files_for_runs(&runs, &found, "linac", "main", directory.c_str(), 1);
    expect((of_runs == 0) == !found.empty(), "an answer about runs has files");
    ravo_free_root_xml_files(&found);
    const int of_period =
        get_files_for_period(noon - 20'000, noon, &found, "linac", "main", directory.c_str(), 0);
    expect((of_period == 0) == !found.empty(), "an answer about a period has files");
    ravo_free_root_xml_files(&found);
    time_stamp start{}, end{};
    static_cast<void>(get_time_for_run(first, &start, &end, "linac", directory.c_str()));
  }

 private:
  test::temporary_folder folder_;
};

template <class Content>
void again(const catalogue::document<Content>& first,
           catalogue::document<Content> (*parse)(std::string_view), std::string (*write)(const Content&)) {
  expect(first.content.has_value() == first.damage.empty(), "a document is understood or has a reason");
  if (!first.content) return;
  const std::string text = write(*first.content);
  const auto second = parse(text);
  expect(second.content.has_value(), "a document that was understood can be written");
  expect(write(*second.content) == text, "a document means the same again");
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo;
  using namespace ravo::fuzz;
  be_quiet();
  input from(data, size);
  const std::uint8_t where = from.byte();
  const std::string_view text = from.rest();
  again(catalogue::parse_run(text), &catalogue::parse_run, &catalogue::run_document);
  again(catalogue::parse_day(text), &catalogue::parse_day, &catalogue::day_document);

  static const one_stream stream;
  static constexpr const char* names[] = {"runs/1/run1207.xml", "days/2025/03/01.xml", "days/long.xml"};
  const char* const name = names[where % std::size(names)];
  stream.write(name, text);
  stream.ask();
  stream.remove(name);
  return 0;
}

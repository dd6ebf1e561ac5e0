// The fixture of the tests of requests: a reader over scripted layers and a scripted catalogue, and a data
// directory with files that are nothing but names.
#ifndef RAVO_TEST_REQUESTED_READER_H
#define RAVO_TEST_REQUESTED_READER_H

#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "scripted_reader.h"

namespace ravo::test {

/// Second 0 of the tests' clock: 1 January 2025.
inline constexpr unsigned clock_zero = 1735689600;

/// The name of a raw file that begins at a second of the tests' clock.
inline std::string raw_name(int run, long file, unsigned second, const std::string& experiment = "linac",
                            const std::string& stream = "main") {
  const std::time_t time = static_cast<std::time_t>(clock_zero) + second;
  std::tm calendar{};
  gmtime_r(&time, &calendar);
  char text[32];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &calendar);
  return experiment + "_" + stream + "_run" + std::to_string(run) + "_file" + std::to_string(file) + "_" +
         text + ".raw";
}

/// A request for `linac` and `main` with a data directory and nothing else.
inline ravo_daq_request plain_request(const std::string& directory) {
  ravo_daq_request request{};
  std::strcpy(request.exp_name, "linac");
  std::strcpy(request.stream_name, "main");
  std::strcpy(request.cdir, "/catalogue/");
  std::snprintf(request.ddir, sizeof request.ddir, "%s", directory.c_str());
  request.period = {1, {0, 100000}};
  request.time_diff = {0, 50000};
  return request;
}

using names = std::vector<std::string>;

/// The files of a reader without their directories.
template <class Reader>
names bare_names(const Reader& reader) {
  names bare;
  for (const char* file : reader.files) {
    const char* slash = std::strrchr(file, '/');
    bare.push_back(slash ? slash + 1 : file);
  }
  return bare;
}

template <class generation>
class requested_reader : public scripted_reader<generation> {
 protected:
  void make(const names& files) {
    for (const std::string& file : files) this->folder.write(file, {});
  }
  void ask_for_runs(int first, int last) {
    request.run_first = first;
    request.run_last = last;
  }
  void ask_for_period(unsigned start, unsigned stop) {
    request.start_time = {0, {clock_zero + start, 0}};
    request.stop_time = {0, {clock_zero + stop, 0}};
  }
  /// Initialises the reader, without channels, and keeps what it says in `output`.
  int init() {
    captured_output captured;
    const int status = this->reader.init(&request, nullptr);
    output = captured.stop();
    return status;
  }
  names files() const { return bare_names(this->reader); }
  bool says(const std::string& text) const { return output.find(text) != std::string::npos; }
  /// An event index with one entry that spans these seconds of the tests' clock.
  auto* index_of(unsigned first, unsigned last) {
    std::vector<std::uint32_t>& words = tables.emplace_back(10);
    const std::uint32_t content[10] = {
        RAVO_EVENT_INDEX_PATTERN, 1, RAVO_EV_NORMAL, clock_zero + first, 0, clock_zero + last, 0, 1, 2, 0};
    std::copy(std::begin(content), std::end(content), words.begin());
    return reinterpret_cast<typename generation::records::event_index_table*>(words.data());
  }

  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  ravo_daq_request request = plain_request(this->folder.path().string());
  std::string output;
  std::deque<std::vector<std::uint32_t>> tables;
};

}  // namespace ravo::test

#endif

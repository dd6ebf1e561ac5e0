// Checks the parts of a file name and assembles it.
#include "file_name.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <string_view>

namespace ravo::writer {

namespace {

// File systems allow names of 255 bytes; the numbers and the time take 50, and 25 are reserved for what
// the temporary name of an incomplete file adds.
constexpr std::size_t longest_experiment_and_stream = 180;

outcome check_part(const char* which, std::string_view text) {
  constexpr std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.+";
  if (!text.empty() && text.front() != '.' && text.find_first_not_of(allowed) == text.npos) return {};
  return refusal(RAVO_DAQ_WRITER_INV_PARAM,
                 std::string("the ") + which + " \"" + std::string(text) +
                     "\" cannot be part of a file name; use letters, digits, '-', '_', '+' and, not "
                     "in the first place, '.'");
}

}  // namespace

outcome check_name_parts(const ravo_daq_writer_settings& settings) {
  outcome checked = check_part("experiment", settings.experiment);
  if (!checked.failed()) checked = check_part("stream", settings.stream);
  if (checked.failed()) return checked;
  if (settings.experiment.size() + settings.stream.size() > longest_experiment_and_stream)
    return refusal(RAVO_DAQ_WRITER_INV_PARAM,
                   "experiment and stream make the file name too long; keep them within " +
                       std::to_string(longest_experiment_and_stream) + " bytes together");
  if (settings.run < 0 || settings.first_file < 0)
    return refusal(RAVO_DAQ_WRITER_INV_PARAM,
                   "run and file numbers are not negative; give numbers from 0 on");
  return {};
}

std::string file_name(const ravo_daq_writer_settings& settings, int file, const time_stamp& first) {
  using namespace std::chrono;
  const sys_seconds time{seconds(first.timeup)};
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%04d%02u%02uT%02d%02d%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return settings.experiment + "_" + settings.stream + "_run" + std::to_string(settings.run) + "_file" +
         std::to_string(file) + "_" + text.data() + ".raw";
}

}  // namespace ravo::writer

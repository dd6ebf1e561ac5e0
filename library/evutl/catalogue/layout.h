// The folder layout of a catalogue, and which names can be part of a path there.
//
//   <directory>/<experiment>/<stream>/runs/<run / 1000>/run<run>.xml   one run with its raw files
//   <directory>/<experiment>/<stream>/days/<YYYY>/<MM>/<DD>.xml        which runs have raw files of a day
//   <directory>/<experiment>/<stream>/days/long.xml                    which runs have very long raw files
//   <directory>/<experiment>/<stream>/lock                             held while the stream is written
#ifndef RAVO_CATALOGUE_LAYOUT_H
#define RAVO_CATALOGUE_LAYOUT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/days.h"

namespace ravo::catalogue {

/// Whether the name of an experiment or a stream can be the name of a folder in the catalogue.
bool is_folder_name(std::string_view name);

/// The paths of one stream's catalogue. Both names must be folder names.
class stream_layout {
 public:
  stream_layout(const std::string& directory, const std::string& experiment, const std::string& stream);

  std::string lock_file() const { return folder_ + "/lock"; }
  std::string run_file(int run) const;
  std::string year_folder(day_number day) const;
  std::string month_folder(day_number day) const;
  std::string day_file(day_number day) const;
  std::string long_file() const { return folder_ + "/days/long.xml"; }
  /// The runs that have a file, in the order of their numbers.
  std::vector<int> runs() const;

 private:
  std::string folder_;
};

/// Appends the names of the entries of a folder that are not hidden, in no order. 0, or an errno value; the
/// list may then be incomplete. (The standard library's own listing ends the process without memory.)
int read_names(const std::string& folder, std::vector<std::string>& names);
/// The experiments of a catalogue, or the streams of an experiment: the folders in a folder, sorted.
std::vector<std::string> folders_in(const std::string& folder);

}  // namespace ravo::catalogue

#endif

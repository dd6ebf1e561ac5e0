// Reads one stream's catalogue: single runs and single days, each checked against the place in which it
// was found. It decides nothing about requests, and prints nothing.
#ifndef RAVO_CATALOGUE_STREAM_CATALOGUE_H
#define RAVO_CATALOGUE_STREAM_CATALOGUE_H

#include <cstddef>
#include <string>
#include <vector>

#include "catalogue/documents.h"
#include "catalogue/layout.h"

namespace ravo::catalogue {

/// `day` of the index of very long raw files.
inline constexpr const char* long_index = "long";

/// Derives the span of a run from its files; all zero if no file has a time.
void derive_span(run_entry& run);

class stream_catalogue {
 public:
  /// Both names must be folder names.
  stream_catalogue(std::string directory, std::string experiment, std::string stream);

  /// Paths of raw files are returned as the catalogue file has them.
  document<run_entry> run(int number);
  document<day_index> day(day_number day);
  document<day_index> very_long();

  const stream_layout& layout() const { return layout_; }
  const std::string& experiment() const { return experiment_; }
  const std::string& stream() const { return stream_; }
  /// A raw file's path in a form that can be opened: relative paths start at the catalogue directory.
  std::string full_path(const std::string& path) const;

  /// Brings a run up to date: updates files that were growing when it was written and have settled since.
  void refresh(run_entry& run) const;

  /// How many catalogue files were read so far.
  std::size_t files_read() const { return files_read_; }

 private:
  document<day_index> index(const std::string& path, const std::string& day);

  std::string directory_;
  std::string experiment_;
  std::string stream_;
  stream_layout layout_;
  std::size_t files_read_ = 0;
};

}  // namespace ravo::catalogue

#endif

#include "stream_catalogue.h"

#include <utility>

#include "catalogue/raw_file_span.h"
#include "catalogue/storage.h"
#include "format/folders.h"

namespace ravo::catalogue {
namespace {

// Otherwise a file that was copied to the place of another would answer for the other.
template <class Content>
void check_place(document<Content>& found, bool belongs_here) {
  if (!found.content || belongs_here) return;
  found.content.reset();
  found.damage = "it belongs to another place: " +
                 std::string("experiment, stream and run or day are not those of its path");
}

}  // namespace

stream_catalogue::stream_catalogue(std::string directory, std::string experiment, std::string stream)
    : directory_(std::move(directory)),
      experiment_(std::move(experiment)),
      stream_(std::move(stream)),
      layout_(directory_, experiment_, stream_) {}

document<run_entry> stream_catalogue::run(int number) {
  const stored_text stored = read_text(layout_.run_file(number));
  if (!stored.text) return {std::nullopt, stored.problem, stored.problem.empty()};
  ++files_read_;
  auto found = parse_run(*stored.text);
  check_place(found, found.content && found.content->experiment == experiment_ &&
                         found.content->stream == stream_ && found.content->run == number);
  return found;
}

document<day_index> stream_catalogue::day(day_number day) {
  return index(layout_.day_file(day), date_text(day));
}

document<day_index> stream_catalogue::very_long() { return index(layout_.long_file(), long_index); }

document<day_index> stream_catalogue::index(const std::string& path, const std::string& day) {
  const stored_text stored = read_text(path);
  if (!stored.text) return {std::nullopt, stored.problem, stored.problem.empty()};
  ++files_read_;
  auto found = parse_day(*stored.text);
  check_place(found, found.content && found.content->experiment == experiment_ &&
                         found.content->stream == stream_ && found.content->day == day);
  return found;
}

std::string stream_catalogue::full_path(const std::string& path) const {
  return path.starts_with('/') ? path : path_in(directory_, path);
}

void stream_catalogue::refresh(run_entry& run) const {
  bool has_changed = false;
  for (raw_file_entry& file : run.files)
    if (!file.complete) has_changed = update(file, full_path(file.path)) || has_changed;
  if (has_changed) derive_span(run);
}

void derive_span(run_entry& run) {
  run.start = run.end = {};
  for (const raw_file_entry& file : run.files) {
    if (!file.has_time()) continue;
    if (is_same(run.end, {}) || is_before(file.start, run.start)) run.start = file.start;
    if (is_before(run.end, file.end)) run.end = file.end;
  }
}

}  // namespace ravo::catalogue

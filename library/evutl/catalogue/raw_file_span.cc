#include "raw_file_span.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <system_error>
#include <vector>

#include "catalogue/days.h"
#include "file_tables.h"
#include "format/file_name_parts.h"
#include "format/malloc_owner.h"
#include "format/raw_file.h"
#include "format/settled_file.h"
#include "format/uninterrupted.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"

namespace ravo::catalogue {
namespace {

// The reference table, or null and why. The file's end is read instead of mapped: a file that is truncated
// meanwhile then costs an entry and not the process.
malloc_owner<ravo_file_reference_table_2010> reference_table(const raw_file& file, int& status) {
  const auto length = static_cast<long>(file.length());
  const long tail = std::max(length - 4, 0L);
  long rest = 0;
  const long offset = ravo_get_page_offset(length, tail, &rest);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(length - offset));
  if (!file.read_exactly(static_cast<std::uint64_t>(offset), bytes.data(), bytes.size())) {
    status = RAVO_TABLE_UNREADABLE;
    return nullptr;
  }
  ravo_file_reference_table_2010* table = nullptr;
  status = get_ravo_file_reference_table_m_2010(bytes.data(), length - offset, length, file.descriptor(),
                                                &table);
  // A file of the older generation has another marker and the same event index.
  if (status == RAVO_TABLE_WRONG_PATTERN)
    status =
        get_ravo_file_reference_table_m(bytes.data(), length - offset, length, file.descriptor(), &table);
  return malloc_owner<ravo_file_reference_table_2010>(table);
}

// The times of the events themselves count; the heads of the index may disagree with them.
void widen(time_stamp time, bool& any, raw_file_entry& file) {
  if (time.timeup == 0) return;  // an event without a time
  time.timelow = std::min(time.timelow, 999999u);
  if (!any || is_before(time, file.start)) file.start = time;
  if (!any || is_before(file.end, time)) file.end = time;
  any = true;
}

// Reads the event index piece by piece: a file may claim as many events as it has bytes for, and several
// files are scanned at the same time.
ravo_table_status summarise(const table_file& source, const ravo_file_reference_table_2010& reference,
                            raw_file_entry& file) {
  constexpr std::size_t piece = 4096;
  std::int32_t types = 0;
  std::uint64_t length = 0;
  if (const auto status = measure_event_index(source, reference, types, length); status != RAVO_TABLE_OK)
    return status;
  std::vector<ravo_event_info_entry_2010> events(piece);
  std::uint64_t at = reference.eit_pos_ref + sizeof(ravo_event_index_table_2010);
  const std::uint64_t end = reference.eit_pos_ref + length;
  bool any = false;
  for (std::int32_t type = 0; type < types; ++type) {
    ravo_event_index_entry_head_2010 head;
    if (const auto status = source.read_words(at, &head, sizeof head / 4); status != RAVO_TABLE_OK)
      return status;
    at += sizeof head;
    // A file that changed since it was measured is refused.
    if (head.length < 0 || at > end ||
        static_cast<std::uint64_t>(head.length) > (end - at) / sizeof events[0])
      return RAVO_TABLE_UNREADABLE;
    for (auto left = static_cast<std::size_t>(head.length); left > 0;) {
      const std::size_t count = std::min(left, piece), bytes = count * sizeof events[0];
      if (const auto status = source.read_words(at, events.data(), bytes / 4); status != RAVO_TABLE_OK)
        return status;
      for (std::size_t i = 0; i < count; ++i) widen(events[i].time, any, file);
      at += bytes;
      left -= count;
    }
    file.events += static_cast<std::uint64_t>(head.length);
  }
  return RAVO_TABLE_OK;
}

time_stamp seconds_as_time(std::int64_t seconds) {
  return {static_cast<std::uint32_t>(
              std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::uint32_t>::max())),
          0};
}

/// The span of a file without readable tables that may still grow: from the time in its name to its last
/// change.
void span_of_growing(const file_name_parts& named, const struct stat& about, raw_file_entry& file) {
  const time_stamp changed = seconds_as_time(about.st_mtim.tv_sec);
  file.start = {named.seconds, 0};
  file.end = is_before(changed, file.start) ? file.start : changed;
}

/// Number and span of the file's events, or why they are not known.
void scan_events(const raw_file& source, scanned_file& result) {
  raw_file_entry& file = result.entry;
  const auto length = static_cast<long>(source.length());
  int status = RAVO_TABLE_TOO_SHORT;
  const auto reference = length > 0 ? reference_table(source, status) : nullptr;
  if (reference) status = summarise(table_file(source.descriptor(), length), *reference, file);
  const int unreadable_for = errno;
  const auto named = parse_file_name(file.path);
  if (reference && status == RAVO_TABLE_OK) {
    // The events have no time: that of the file's name is the best there is.
    if (file.events > 0 && !file.has_time() && named) file.start = file.end = {named->seconds, 0};
    if (file.events > 0 && !file.has_time())
      result.problem = "has events, but neither they nor its name have a time";
  } else if (!file.complete && named) {
    span_of_growing(*named, source.status(), file);
  } else if (status == RAVO_TABLE_UNREADABLE) {
    result.problem = "cannot be read: " + std::generic_category().message(unreadable_for);
  } else {
    result.problem = ravo_evutl_status_text(status);
  }
}

}  // namespace

std::int64_t modification_time(const struct stat& about) { return identity_of(about).changed; }

scanned_file scan_raw_file(const std::string& path, std::int64_t now, int closed_after) {
  scanned_file result;
  raw_file_entry& file = result.entry;
  file.path = path;
  const raw_file source(path.c_str());
  if (!source.is_open()) {
    result.problem =
        source.error() != 0 ? std::generic_category().message(source.error()) : "is not a regular file";
    return result;
  }
  const struct stat& about = source.status();
  file.bytes = static_cast<std::uint64_t>(about.st_size);
  file.modified = modification_time(about);
  file.complete = closed_after < 0 || about.st_ctim.tv_sec + closed_after < now;

  scan_events(source, result);
  return result;
}

bool update(raw_file_entry& file, const std::string& path) {
  const int closed_after = ignores_close_time() ? -1 : settling_seconds;
  // For most files that still grow, their status suffices and they are not opened.
  struct stat about {};
  if (uninterrupted::stat(path.c_str(), &about) != 0) return false;
  const std::int64_t now = std::time(nullptr);
  if (closed_after >= 0 && !is_settled(about.st_ctim.tv_sec, now)) return false;
  scanned_file scanned = scan_raw_file(path, now, closed_after);
  if (!scanned.problem.empty() || !scanned.entry.complete) return false;
  scanned.entry.path = file.path;
  file = std::move(scanned.entry);
  return true;
}

}  // namespace ravo::catalogue

// Code that the operations on single tables share: it reads checked parts of the file, and knows where
// else the file refers to, so that no table is accepted that overlaps its neighbour.
#ifndef RAVO_FILE_TABLES_H
#define RAVO_FILE_TABLES_H

#include <cstddef>
#include <cstdint>

#include "format/malloc_owner.h"
#include "ravo_evutl_status.h"
#include "ravo_raw_format.h"

namespace ravo {

/// The last bytes of a file: the offset of its reference table.
inline constexpr std::size_t tail_size = 4;

/// The file whose descriptor and length a caller passes. Offsets and lengths are checked against that
/// length, and no table may reach into the tail.
class table_file {
 public:
  table_file(int fd, long length) : fd_(fd), length_(length) {}

  /// Whether `length` bytes at `offset` lie before the tail.
  bool holds(std::uint64_t offset, std::uint64_t length) const;

  /// Reads exactly `length` bytes at `offset`, which holds() has accepted or which are the tail.
  ravo_table_status read(std::uint64_t offset, void* destination, std::size_t length) const;

  /// Reads `words` words into host order.
  ravo_table_status read_words(std::uint64_t offset, void* destination, std::size_t words) const;

  /// The offset of the reference table, from the tail.
  ravo_table_status read_tail(std::uint32_t& offset) const;

  std::uint64_t length() const { return static_cast<std::uint64_t>(length_); }

 private:
  int fd_;
  long length_;
};

/// Pattern and length word with which most tables begin.
struct table_head {
  std::uint32_t pattern;
  std::int32_t length;
};
static_assert(sizeof(table_head) == 8);

/// Reads and checks the head of the table at `offset`: the table exists, it has the marker, its length is
/// at least `smallest`, and the whole table lies in the file and overlaps nothing else.
ravo_table_status read_table_head(const table_file& file, const ravo_file_reference_table_2010& reference,
                                  std::uint32_t offset, std::uint32_t pattern, std::size_t smallest,
                                  table_head& head);

/// Whether a table of `length` bytes at `offset` covers neither the reference table nor the beginning
/// of any other table or basket. When this holds for every table of a file, no two overlap.
ravo_table_status check_clear(const table_file& file, const ravo_file_reference_table_2010& reference,
                              std::uint64_t offset, std::uint64_t length);

/// The bytes of the event index table, which has no length word: its entries are walked head by head.
/// `event_types` receives the number of its entries.
ravo_table_status measure_event_index(const table_file& file,
                                      const ravo_file_reference_table_2010& reference,
                                      std::int32_t& event_types, std::uint64_t& length);

/// Whether the arguments that all table operations have in common are valid.
bool usable(long len, const ravo_file_reference_table_2010* reference, const void* result);

}  // namespace ravo

#endif

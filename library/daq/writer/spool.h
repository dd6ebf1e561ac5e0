// Keeps the baskets of the file being written: streams of bytes that grow at the same time. What exceeds
// the buffer is moved to one nameless file in the target folder, as extents, and read back stream by
// stream when the raw file is assembled. It does not interpret the bytes.
#ifndef RAVO_WRITER_SPOOL_H
#define RAVO_WRITER_SPOOL_H

#include <cstdint>
#include <span>
#include <vector>

#include "big_endian.h"
#include "folder.h"
#include "outcome.h"
#include "target_file.h"

namespace ravo::writer {

class spool {
 public:
  spool(const folder& place, std::size_t buffer_bytes, std::size_t streams);
  ~spool();
  spool(const spool&) = delete;
  spool& operator=(const spool&) = delete;

  /// Prepares for `pieces` appends of `bytes` bytes in all, so that they cannot fail. Moves the buffer to
  /// the nameless file if they would not fit. After a refusal nothing has changed: call it again when the
  /// cause is gone.
  outcome prepare(std::size_t bytes, std::size_t pieces);
  void append(std::size_t stream, std::span<const unsigned char> bytes) noexcept;

  /// Bytes of a stream so far.
  std::uint64_t size(std::size_t stream) const { return sizes_[stream]; }
  /// Sorts the pieces in memory by stream; call it once before copy(), after the last append.
  void arrange();
  /// Appends a whole stream to the target.
  outcome copy(std::size_t stream, target_file& target) const;
  /// Forgets all streams and frees their disk space.
  void clear();

 private:
  struct piece {  // one append, still in the buffer
    std::size_t stream;
    std::size_t offset;
    std::size_t length;
  };
  struct extent {  // bytes of one stream in the nameless file
    std::uint64_t offset;
    std::uint64_t length;
  };

  outcome move_out();
  outcome open_file();
  outcome write_at(std::uint64_t offset, const unsigned char* bytes, std::size_t length);

  const folder& folder_;
  std::size_t buffer_bytes_;
  byte_vector buffer_;
  std::vector<piece> pieces_;
  std::vector<std::vector<extent>> extents_;
  std::vector<std::uint64_t> sizes_;
  int file_ = -1;
  std::uint64_t file_size_ = 0;
};

}  // namespace ravo::writer

#endif

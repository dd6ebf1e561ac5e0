// Inflates one block and prints nothing, for make_zlib, make_lzo and the block decoder. Failures are
// returned as values.
#ifndef RAVO_DECODE_UNZIP_H
#define RAVO_DECODE_UNZIP_H

#include <cstddef>

namespace ravo {

enum class unzipper { zlib, lzo };

/// Where an unzipper stopped.
enum class unzip_step { done, parameters, initialisation, decompression };

struct unzip_result {
  unzipper by = unzipper::zlib;
  unzip_step step = unzip_step::done;
  int code = 0;              ///< what the compression library returned
  std::size_t produced = 0;  ///< bytes written, when done
  bool ok() const { return step == unzip_step::done; }
};

/// Inflates `size` bytes into `room` bytes; never writes more than that. `work` is LZO's work memory.
unzip_result unzip(unzipper by, const unsigned char* bytes, std::size_t size, unsigned char* into,
                   std::size_t room, unsigned char* work);

/// Frees what unzip() keeps for this thread between streams. The thread's end frees it too, but nobody can
/// wait for the end of a detached thread.
void free_thread_decompressor();

/// Whether a zlib stream that was refused can be inflated and only its checksum is wrong.
/// `into`: `room` bytes, which are overwritten.
bool has_wrong_checksum(const unsigned char* bytes, std::size_t size, unsigned char* into,
                        std::size_t room);

/// The most bytes that `size` compressed bytes can hold.
std::size_t most_unzipped(unzipper by, std::size_t size);

}  // namespace ravo

#endif

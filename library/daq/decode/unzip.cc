#include "decode/unzip.h"

#include <libdeflate.h>
#include <lzo/lzo1x.h>
#include <pthread.h>
#include <zlib.h>

#include <limits>
#include <optional>

namespace ravo {
namespace {

// A decompressor for each thread that asks for one, freed when the thread ends. Not a thread_local object,
// which ends the process when there is no memory to register its destructor.
class decompressors {
 public:
  decompressors() : is_usable_(pthread_key_create(&key_, &free_decompressor) == 0) {}
  ~decompressors() {
    if (is_usable_) pthread_key_delete(key_);
  }
  decompressors(const decompressors&) = delete;
  decompressors& operator=(const decompressors&) = delete;

  /// Null without memory.
  libdeflate_decompressor* of_this_thread() const {
    if (!is_usable_) return nullptr;
    if (void* const kept = pthread_getspecific(key_)) return static_cast<libdeflate_decompressor*>(kept);
    libdeflate_decompressor* const made = libdeflate_alloc_decompressor();
    if (made == nullptr || pthread_setspecific(key_, made) == 0) return made;
    libdeflate_free_decompressor(made);
    return nullptr;
  }

  void free_of_this_thread() const {
    if (!is_usable_) return;
    void* const kept = pthread_getspecific(key_);
    if (kept == nullptr) return;
    (void)pthread_setspecific(key_, nullptr);
    free_decompressor(kept);
  }

 private:
  static void free_decompressor(void* decompressor) {
    libdeflate_free_decompressor(static_cast<libdeflate_decompressor*>(decompressor));
  }
  pthread_key_t key_{};
  bool is_usable_;
};

const decompressors all_decompressors;

/// Inflates a stream with libdeflate, which is much faster than zlib. `nullopt` if it refuses the stream,
/// for whatever reason. It accepts some streams that zlib refuses (symbols that the format does not have,
/// incomplete codes), but only if the result has the stream's checksum, which a damaged stream does not
/// have.
std::optional<std::size_t> inflate_fast(const unsigned char* bytes, std::size_t size, unsigned char* into,
                                        std::size_t room) {
  libdeflate_decompressor* const decompressor = all_decompressors.of_this_thread();
  std::size_t produced = 0;
  if (decompressor == nullptr ||
      libdeflate_zlib_decompress(decompressor, bytes, size, into, room, &produced) != LIBDEFLATE_SUCCESS)
    return std::nullopt;
  return produced;
}

// If libdeflate refuses a stream, zlib decides whether anything is wrong with it, and what. One inflate
// call straight into the caller's memory: no intermediate buffer and no growth loop.
unzip_result unzip_zlib(const unsigned char* bytes, std::size_t size, unsigned char* into,
                        std::size_t room) {
  if (const auto produced = inflate_fast(bytes, size, into, room))
    return {unzipper::zlib, unzip_step::done, Z_STREAM_END, *produced};
  unzip_result result{unzipper::zlib, unzip_step::initialisation, 0, 0};
  z_stream stream{};
  result.code = inflateInit_(&stream, ZLIB_VERSION, static_cast<int>(sizeof stream));
  if (result.code != Z_OK) return result;
  stream.next_in = const_cast<Bytef*>(bytes);
  stream.avail_in = static_cast<uInt>(size);
  stream.next_out = into;
  stream.avail_out = static_cast<uInt>(room);
  result.code = inflate(&stream, Z_NO_FLUSH);
  result.step = result.code == Z_STREAM_END ? unzip_step::done : unzip_step::decompression;
  result.produced = stream.total_out;
  inflateEnd(&stream);
  return result;
}

// lzo_init, which checks that library and headers agree (__lzo_init_v2), is cheap and done per call.
unzip_result unzip_lzo(const unsigned char* bytes, std::size_t size, unsigned char* into, std::size_t room,
                       unsigned char* work) {
  unzip_result result{unzipper::lzo, unzip_step::initialisation, 0, 0};
  result.code = lzo_init();
  if (result.code != LZO_E_OK) return result;
  lzo_uint produced = room;
  result.code = lzo1x_decompress_safe(bytes, size, into, &produced, work);
  result.step = result.code == LZO_E_OK ? unzip_step::done : unzip_step::decompression;
  result.produced = produced;
  return result;
}

}  // namespace

unzip_result unzip(unzipper by, const unsigned char* bytes, std::size_t size, unsigned char* into,
                   std::size_t room, unsigned char* work) {
  constexpr std::size_t most = std::numeric_limits<int>::max();
  if (size == 0 || size > most || room == 0 || room > most) return {by, unzip_step::parameters, 0, 0};
  return by == unzipper::zlib ? unzip_zlib(bytes, size, into, room)
                              : unzip_lzo(bytes, size, into, room, work);
}

void free_thread_decompressor() { all_decompressors.free_of_this_thread(); }

// The wrapper is 2 bytes in front, as a 16-bit number a multiple of 31, and 4 bytes at the end.
bool has_wrong_checksum(const unsigned char* bytes, std::size_t size, unsigned char* into,
                        std::size_t room) {
  libdeflate_decompressor* const decompressor = all_decompressors.of_this_thread();
  if (decompressor == nullptr || size < 6 || (bytes[0] << 8 | bytes[1]) % 31 != 0) return false;
  std::size_t produced = 0;
  return libdeflate_deflate_decompress(decompressor, bytes + 2, size - 6, into, room, &produced) ==
         LIBDEFLATE_SUCCESS;
}

// Deflate yields at most 1032 bytes per byte (a 258-byte match for two bits), LZO1X 255 (a zero byte of a
// length field); the added bytes cover short streams.
std::size_t most_unzipped(unzipper by, std::size_t size) {
  return by == unzipper::zlib ? size * 1032 + 1032 : size * 255 + 1032;
}

}  // namespace ravo

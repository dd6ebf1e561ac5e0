// Counts what a program reads and inflates: a test program that includes this header, in one source file,
// has its own pread, preadv2 and decompressors in front of the system's, for itself and every library it
// uses.
#ifndef RAVO_TEST_DATASET_COUNTED_CALLS_H
#define RAVO_TEST_DATASET_COUNTED_CALLS_H

#include <dlfcn.h>
#include <libdeflate.h>
#include <lzo/lzo1x.h>
#include <sys/uio.h>
#include <zlib.h>

#include <cstdint>
#include <mutex>
#include <vector>

namespace ravo::test {

struct read_range {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  bool meets(const read_range& other) const { return begin < other.end && other.begin < end; }
};

/// What was read and inflated since it was last cleared, on any thread.
class counted_calls {
 public:
  static counted_calls& all() {
    static counted_calls calls;
    return calls;
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    reads_.clear();
    inflated_ = 0;
  }
  void note_read(std::uint64_t offset, std::uint64_t size) {
    const std::lock_guard lock(mutex_);
    reads_.push_back({offset, offset + size});
  }
  void note_inflating() {
    const std::lock_guard lock(mutex_);
    ++inflated_;
  }
  std::size_t inflated() {
    const std::lock_guard lock(mutex_);
    return inflated_;
  }
  std::vector<read_range> reads() {
    const std::lock_guard lock(mutex_);
    return reads_;
  }

 private:
  std::mutex mutex_;  // guards what follows
  std::vector<read_range> reads_;
  std::size_t inflated_ = 0;
};

template <class Function>
Function* system_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace ravo::test

extern "C" {

ssize_t pread(int file, void* into, size_t size, off_t offset) {
  static const auto system = ravo::test::system_function<ssize_t(int, void*, size_t, off_t)>("pread");
  ravo::test::counted_calls::all().note_read(static_cast<std::uint64_t>(offset), size);
  return system(file, into, size, offset);
}

ssize_t preadv2(int file, const iovec* into, int parts, off_t offset, int flags) {
  using function = ssize_t(int, const iovec*, int, off_t, int);
  static const auto system = ravo::test::system_function<function>("preadv2");
  std::uint64_t size = 0;
  for (int i = 0; i < parts; ++i) size += into[i].iov_len;
  ravo::test::counted_calls::all().note_read(static_cast<std::uint64_t>(offset), size);
  return system(file, into, parts, offset, flags);
}

libdeflate_result libdeflate_zlib_decompress(libdeflate_decompressor* decompressor, const void* from,
                                             size_t size, void* into, size_t room, size_t* produced) {
  using function = libdeflate_result(libdeflate_decompressor*, const void*, size_t, void*, size_t, size_t*);
  static const auto system = ravo::test::system_function<function>("libdeflate_zlib_decompress");
  ravo::test::counted_calls::all().note_inflating();
  return system(decompressor, from, size, into, room, produced);
}

int inflate(z_streamp stream, int flush) {
  static const auto system = ravo::test::system_function<int(z_streamp, int)>("inflate");
  ravo::test::counted_calls::all().note_inflating();
  return system(stream, flush);
}

int lzo1x_decompress_safe(const lzo_bytep from, lzo_uint size, lzo_bytep into, lzo_uintp room,
                          lzo_voidp work) {
  using function = int(const lzo_bytep, lzo_uint, lzo_bytep, lzo_uintp, lzo_voidp);
  static const auto system = ravo::test::system_function<function>("lzo1x_decompress_safe");
  ravo::test::counted_calls::all().note_inflating();
  return system(from, size, into, room, work);
}
}

#endif

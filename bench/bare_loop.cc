#include "bare_loop.h"

#include <fcntl.h>
#include <libdeflate.h>
#include <lzo/lzo1x.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace ravo::bench {
namespace {

std::uint32_t word(const unsigned char* bytes) {
  std::uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return __builtin_bswap32(value);
}

std::size_t swapped_bytes(swapped words, std::size_t size) {
  switch (words) {
    case swapped::all_words:
      return size;
    case swapped::image_head:
      return 28;
    case swapped::image_ext_head:
      return 100;
  }
  return size;
}

// Compiled for each kind of processor: the limit is this machine's, not that of the oldest one supported.
template <class Word, class Reverse>
[[gnu::always_inline]] inline void store_reversed(const unsigned char* from, std::byte* to,
                                                  std::size_t count, Reverse reverse) {
  for (std::size_t i = 0; i < count; ++i) {
    Word value;
    std::memcpy(&value, from + i * sizeof value, sizeof value);
    value = reverse(value);
    std::memcpy(to + i * sizeof value, &value, sizeof value);
  }
}

[[gnu::target_clones("avx2", "default")]] void store_words(const unsigned char* from, std::byte* to,
                                                           std::size_t count) {
  store_reversed<std::uint32_t>(from, to, count, [](std::uint32_t one) { return __builtin_bswap32(one); });
}

[[gnu::target_clones("avx2", "default")]] void store_halves(const unsigned char* from, std::byte* to,
                                                            std::size_t count) {
  store_reversed<std::uint16_t>(from, to, count, [](std::uint16_t one) { return __builtin_bswap16(one); });
}

void store_elements(const unsigned char* from, std::byte* to, std::size_t bytes, std::size_t element) {
  if (element == 4)
    store_words(from, to, bytes / 4);
  else if (element == 2)
    store_halves(from, to, bytes / 2);
  else
    std::memcpy(to, from, bytes);
}

// What one thread keeps from block to block.
class block_loop {
 public:
  block_loop(swapped words, inflater by) : words_(words), by_(by), fast_(libdeflate_alloc_decompressor()) {
    if (inflateInit(&stream_) != Z_OK || !fast_) throw std::runtime_error("no inflater");
  }
  ~block_loop() {
    inflateEnd(&stream_);
    libdeflate_free_decompressor(fast_);
  }
  block_loop(const block_loop&) = delete;
  block_loop& operator=(const block_loop&) = delete;

  bare_blocks::block decode(const unsigned char* from) {
    constexpr std::size_t head = sizeof(ravo_serv_block_subhead_2010);
    const bool zipped = (word(from + 260) & RAVO_CHAN_ZIP_FLAG) != 0;
    const std::size_t size = zipped ? word(from + head + 4) : word(from + 264) - head;
    auto* block = static_cast<unsigned char*>(std::malloc(head + size));
    if (!block) throw std::bad_alloc();
    std::memcpy(block, from, 256);
    swap_words(from + 256, block + 256, 12);
    unsigned char* data = block + head;
    const std::size_t words = swapped_bytes(words_, size);
    if (zipped) {
      inflate_to(from + head, data, size);
      swap_words(data, data, words);
    } else {
      swap_words(from + head, data, words);
      std::memcpy(data + words, from + head + words, size - words);
    }
    return {block, head + size};
  }

  void store(const unsigned char* from, const value_layout& layout, std::byte* into) {
    constexpr std::size_t head = sizeof(ravo_serv_block_subhead_2010);
    const bool zipped = (word(from + 260) & RAVO_CHAN_ZIP_FLAG) != 0;
    const std::size_t size = zipped ? word(from + head + 4) : word(from + 264) - head;
    const unsigned char* data = from + head;
    if (zipped) {
      if (inflated_.size() < size) inflated_.resize(size);
      inflate_to(from + head, inflated_.data(), size);
      data = inflated_.data();
    }
    store_elements(data + layout.head, into, size - layout.head, layout.element);
  }

 private:
  void inflate_to(const unsigned char* zip, unsigned char* data, std::size_t size) {
    const unsigned char* bytes = zip + sizeof(ravo_zip_header);
    const std::uint32_t length = word(zip + 8);
    bool good = false;
    if (!(word(zip) & RAVO_ZIP_ZLIB)) {
      lzo_uint produced = size;
      good = lzo1x_decompress_safe(bytes, length, data, &produced, nullptr) == LZO_E_OK;
    } else if (by_ == inflater::libdeflate) {
      good = libdeflate_zlib_decompress(fast_, bytes, length, data, size, nullptr) == LIBDEFLATE_SUCCESS;
    } else {
      inflateReset(&stream_);
      stream_.next_in = const_cast<Bytef*>(bytes);
      stream_.avail_in = length;
      stream_.next_out = data;
      stream_.avail_out = static_cast<uInt>(size);
      good = inflate(&stream_, Z_FINISH) == Z_STREAM_END;
    }
    if (!good) throw std::runtime_error("a block of the benchmark cannot be decompressed");
  }

  swapped words_;
  inflater by_;
  std::vector<unsigned char> inflated_;
  z_stream stream_{};
  libdeflate_decompressor* fast_;
};

}  // namespace

void swap_words(const unsigned char* from, unsigned char* to, std::size_t bytes) {
  for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
    const std::uint32_t value = word(from + i);
    std::memcpy(to + i, &value, sizeof value);
  }
}

mapped_file::mapped_file(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat about {};
  if (fd < 0 || fstat(fd, &about) != 0) throw std::runtime_error("cannot open " + path);
  size_ = static_cast<std::size_t>(about.st_size);
  void* bytes = mmap(nullptr, size_, PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  if (bytes == MAP_FAILED) throw std::runtime_error("cannot map " + path);
  bytes_ = static_cast<unsigned char*>(bytes);
}

mapped_file::~mapped_file() { munmap(bytes_, size_); }

bare_blocks::~bare_blocks() {
  for (const block& one : blocks) std::free(one.bytes);
}

void decode_bare(const mapped_file& file, std::span<const ravo_event_chan_ptr_entry> places, swapped words,
                 inflater by, int threads, bare_blocks& into) {
  into.blocks.resize(places.size());
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    block_loop loop(words, by);
    for (std::size_t i; (i = next.fetch_add(1)) < places.size();)
      into.blocks[i] = loop.decode(file.at(places[i].chhd));
  };
  std::vector<std::jthread> others;
  for (int i = 0; i < threads; ++i) others.emplace_back(work);
}

void store_values(std::span<const value_place> places, const value_layout& layout, int threads) {
  constexpr std::size_t at_a_time = 4;
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    block_loop loop(swapped::all_words, inflater::libdeflate);
    for (std::size_t first; (first = next.fetch_add(at_a_time)) < places.size();)
      for (const value_place& one : places.subspan(first, std::min(at_a_time, places.size() - first)))
        loop.store(one.file->at(one.subheader), layout, one.into);
  };
  std::vector<std::jthread> others;
  for (int i = 1; i < threads; ++i) others.emplace_back(work);
  work();
}

}  // namespace ravo::bench

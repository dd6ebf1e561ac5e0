// What the system reports of this process and of files: bytes read, memory, and what the page cache holds.
#ifndef RAVO_BENCH_PEERS_PROCESS_H
#define RAVO_BENCH_PEERS_PROCESS_H

#include <cstdint>
#include <string>

namespace ravo::bench {

/// Bytes that this process read since it began.
struct bytes_read {
  std::uint64_t by_calls = 0;      ///< asked for by read and pread
  std::uint64_t from_storage = 0;  ///< that the page cache did not have
};
bytes_read read_so_far();
bytes_read operator-(const bytes_read& a, const bytes_read& b);

/// The most memory that was resident at a time, in bytes.
std::uint64_t peak_resident();

/// Drops a file from the page cache. It must not be mapped anywhere else.
void drop_from_cache(const std::string& path);

/// Memory that this process may have of its own from now on; more is refused.
void cap_own_memory(std::uint64_t bytes);

}  // namespace ravo::bench

#endif

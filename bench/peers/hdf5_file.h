// The same values as a user of the HDF5 C library stores them: a dataset per channel, a chunk per event,
// compressed by the library's own filters or not at all; and the two ways of reading them.
#ifndef RAVO_BENCH_PEERS_HDF5_FILE_H
#define RAVO_BENCH_PEERS_HDF5_FILE_H

#include <hdf5.h>

#include <string>
#include <vector>

#include "shape.h"

namespace ravo::bench {

enum class hdf5_filter { none, gzip, shuffle_and_gzip };

/// Owns an identifier of the library.
class hdf5_handle {
 public:
  /// Throws if the library reports a failure.
  hdf5_handle(hid_t id, herr_t (*close)(hid_t), const char* what);
  hdf5_handle(hdf5_handle&& other) noexcept;
  hdf5_handle& operator=(hdf5_handle&&) = delete;
  ~hdf5_handle();
  hid_t get() const { return id_; }

 private:
  hid_t id_;
  herr_t (*close_)(hid_t);
};

class hdf5_writer {
 public:
  hdf5_writer(const std::string& path, const shape& what, hdf5_filter filter, int events_in_chunk = 1);
  void write(int channel, int event, const std::byte* values);

 private:
  const shape& what_;
  hdf5_handle file_;
  std::vector<hdf5_handle> datasets_;
};

class hdf5_reader {
 public:
  hdf5_reader(const std::string& path, const shape& what, int channels);
  /// One channel's value of one event.
  void read(int channel, int event, std::byte* into) const;
  /// All values of a channel at once.
  void read_all(int channel, std::byte* into) const;

 private:
  const shape& what_;
  hdf5_handle file_;
  hdf5_handle one_value_;
  std::vector<hdf5_handle> datasets_;
  std::vector<hdf5_handle> spaces_;
};

}  // namespace ravo::bench

#endif

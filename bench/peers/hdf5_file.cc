#include "hdf5_file.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace ravo::bench {
namespace {

// The level of the writer of raw files.
constexpr unsigned gzip_level = 6;

struct extents {
  std::array<hsize_t, 3> sizes;
  int rank;
};

/// The extents for a number of events: (events), (events, samples) or (events, height, width).
extents extents_of(const shape& what, int events) {
  const auto count = static_cast<hsize_t>(events);
  if (what.is_image()) return {{count, what.height, what.width}, 3};
  if (what.width > 1) return {{count, what.width, 0}, 2};
  return {{count, 0, 0}, 1};
}

hid_t type_of(const shape& what) {
  if (!what.is_image()) return H5T_NATIVE_FLOAT;
  return what.element == 1 ? H5T_NATIVE_UINT8 : H5T_NATIVE_UINT16;
}

hdf5_handle space_of(const extents& of) {
  return {H5Screate_simple(of.rank, of.sizes.data(), nullptr), H5Sclose, "dataspace"};
}

void check(herr_t status, const char* what) {
  if (status < 0) throw std::runtime_error(std::string("HDF5 refused: ") + what);
}

void select_event(hid_t space, const shape& what, int event) {
  const std::array<hsize_t, 3> from{static_cast<hsize_t>(event), 0, 0};
  const extents one = extents_of(what, 1);
  check(H5Sselect_hyperslab(space, H5S_SELECT_SET, from.data(), nullptr, one.sizes.data(), nullptr),
        "selection");
}

}  // namespace

hdf5_handle::hdf5_handle(hid_t id, herr_t (*close)(hid_t), const char* what) : id_(id), close_(close) {
  if (id < 0) throw std::runtime_error(std::string("HDF5 refused: ") + what);
}

hdf5_handle::hdf5_handle(hdf5_handle&& other) noexcept
    : id_(std::exchange(other.id_, -1)), close_(other.close_) {}

hdf5_handle::~hdf5_handle() {
  if (id_ >= 0) close_(id_);
}

hdf5_writer::hdf5_writer(const std::string& path, const shape& what, hdf5_filter filter,
                         int events_in_chunk)
    : what_(what),
      file_(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT), H5Fclose, "file") {
  const hdf5_handle space = space_of(extents_of(what, what.events));
  const hdf5_handle form(H5Pcreate(H5P_DATASET_CREATE), H5Pclose, "properties");
  const extents chunk = extents_of(what, events_in_chunk);
  check(H5Pset_chunk(form.get(), chunk.rank, chunk.sizes.data()), "chunk");
  if (filter == hdf5_filter::shuffle_and_gzip) check(H5Pset_shuffle(form.get()), "shuffle");
  if (filter != hdf5_filter::none) check(H5Pset_deflate(form.get(), gzip_level), "gzip");
  const hdf5_handle links(H5Pcreate(H5P_LINK_CREATE), H5Pclose, "properties");
  check(H5Pset_create_intermediate_group(links.get(), 1), "groups");
  for (int i = 0; i < what.channels; ++i)
    datasets_.emplace_back(H5Dcreate2(file_.get(), what.channel_name(i).c_str(), type_of(what), space.get(),
                                      links.get(), form.get(), H5P_DEFAULT),
                           H5Dclose, "dataset");
}

void hdf5_writer::write(int channel, int event, const std::byte* values) {
  const hdf5_handle memory = space_of(extents_of(what_, 1));
  const hid_t dataset = datasets_[static_cast<std::size_t>(channel)].get();
  const hdf5_handle space(H5Dget_space(dataset), H5Sclose, "dataspace");
  select_event(space.get(), what_, event);
  check(H5Dwrite(dataset, type_of(what_), memory.get(), space.get(), H5P_DEFAULT, values), "write");
}

hdf5_reader::hdf5_reader(const std::string& path, const shape& what, int channels)
    : what_(what),
      file_(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose, "file"),
      one_value_(space_of(extents_of(what, 1))) {
  for (int i = 0; i < channels; ++i) {
    datasets_.emplace_back(H5Dopen2(file_.get(), what.channel_name(i).c_str(), H5P_DEFAULT), H5Dclose,
                           "dataset");
    spaces_.emplace_back(H5Dget_space(datasets_.back().get()), H5Sclose, "dataspace");
  }
}

void hdf5_reader::read(int channel, int event, std::byte* into) const {
  const auto place = static_cast<std::size_t>(channel);
  select_event(spaces_[place].get(), what_, event);
  check(H5Dread(datasets_[place].get(), type_of(what_), one_value_.get(), spaces_[place].get(), H5P_DEFAULT,
                into),
        "read");
}

void hdf5_reader::read_all(int channel, std::byte* into) const {
  check(H5Dread(datasets_[static_cast<std::size_t>(channel)].get(), type_of(what_), H5S_ALL, H5S_ALL,
                H5P_DEFAULT, into),
        "read");
}

}  // namespace ravo::bench

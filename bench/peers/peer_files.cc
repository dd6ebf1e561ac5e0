#include "peer_files.h"

#include <memory>

#include "bench_files.h"
#include "hdf5_file.h"
#include "raw_output.h"

namespace ravo::bench {
namespace {

struct hdf5_form {
  std::string name;
  hdf5_filter filter;
  int events_in_chunk = 1;
};

struct stored_form {
  std::string name;
  ravo_compression raw;
  std::vector<hdf5_form> hdf5;  // empty for LZO, which HDF5 does not have
};

std::vector<stored_form> forms_of(const shape& what) {
  std::vector<hdf5_form> gzip{{"gzip", hdf5_filter::gzip},
                              {"shuffle + gzip", hdf5_filter::shuffle_and_gzip}};
  // Nobody who will read all numbers would store each in a chunk of its own.
  if (what.elements() == 1) gzip.push_back({"gzip, all events in a chunk", hdf5_filter::gzip, what.events});
  return {{"zlib", ravo_compression::zlib, gzip},
          {"LZO", ravo_compression::lzo1x, {}},
          {"plain", ravo_compression::none, {{"no filter", hdf5_filter::none}}}};
}

}  // namespace

std::vector<peer_files> write_peers(const shape& what) {
  static int count = 0;
  const std::string place = folder() + "/peers" + std::to_string(++count) + "/";
  std::vector<std::unique_ptr<raw_output>> raw;
  std::vector<std::unique_ptr<hdf5_writer>> hdf5;
  std::vector<peer_files> made;
  for (const stored_form& form : forms_of(what)) {
    raw.push_back(std::make_unique<raw_output>(place + form.name, what, form.raw));
    peer_files& files = made.emplace_back(form.name);
    for (const hdf5_form& variant : form.hdf5) {
      files.hdf5.push_back({variant.name, place + std::to_string(hdf5.size()) + ".h5"});
      hdf5.push_back(std::make_unique<hdf5_writer>(files.hdf5.back().path, what, variant.filter,
                                                   variant.events_in_chunk));
    }
  }
  std::vector<std::byte> values(what.value_bytes());
  for (int event = 0; event < what.events; ++event) {
    for (const auto& one : raw) one->begin_event(event);
    for (int channel = 0; channel < what.channels; ++channel) {
      const std::vector<unsigned char> block = make_block(what, channel, event);
      for (const auto& one : raw) one->add(channel, block);
      values_of_block(what, block.data(), values.data());
      for (const auto& one : hdf5) one->write(channel, event, values.data());
    }
    for (const auto& one : raw) one->end_event();
  }
  for (std::size_t i = 0; i < made.size(); ++i) made[i].raw = raw[i]->close().at(0);
  return made;
}

}  // namespace ravo::bench

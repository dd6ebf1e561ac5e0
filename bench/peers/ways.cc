#include "ways.h"

#include <cstring>
#include <stdexcept>

#include "bare_loop.h"
#include "hdf5_file.h"
#include "ravo_dataset.h"
#include "started_reader.h"

namespace ravo::bench {
namespace {

std::vector<std::string> channels_of(const shape& what) {
  std::vector<std::string> names;
  for (int i = 0; i < what.channels; ++i) names.push_back(what.channel_name(i));
  return names;
}

dataset open_dataset(const shape& what, const std::string& path) {
  selection wanted;
  wanted.files = {path};
  wanted.channels = channels_of(what);
  return dataset::open(wanted);
}

std::byte* place_of(const shape& what, std::byte* into, std::size_t channel, std::size_t event) {
  return into + (channel * static_cast<std::size_t>(what.events) + event) * what.value_bytes();
}

/// Touches the values, so that none can be produced lazily.
void touch(const void* value) {
  if (value == nullptr) throw std::runtime_error("a value is missing");
  const volatile auto first = *static_cast<const unsigned char*>(value);
  static_cast<void>(first);
}

void expect_all(const shape& what, std::size_t events) {
  if (events != static_cast<std::size_t>(what.events))
    throw std::runtime_error("not all events of " + what.name + " were read");
}

}  // namespace

raw_ways::raw_ways(const shape& what, const std::string& path) : what_(what), path_(path), tables_(path) {}

void raw_ways::bare(std::byte* into) const {
  const mapped_file file(path_);
  std::vector<value_place> places;
  places.reserve(what_.values());
  for (int channel = 0; channel < what_.channels; ++channel)
    for (const auto& place : tables_.places(what_.channel_name(channel))) {
      places.push_back({&file, place.chhd, into});
      into += what_.value_bytes();
    }
  store_values(places, {what_.head_bytes(), what_.element}, machine_threads());
}

void raw_ways::columns(std::byte* into) const {
  const dataset data = open_dataset(what_, path_);
  for (int channel = 0; channel < what_.channels; ++channel) {
    column_options options;
    const std::size_t bytes = static_cast<std::size_t>(what_.events) * what_.value_bytes();
    options.into = {place_of(what_, into, static_cast<std::size_t>(channel), 0), bytes};
    expect_all(what_, data.column(what_.channel_name(channel), options).size());
  }
}

void raw_ways::events(std::byte* into) const {
  const dataset data = open_dataset(what_, path_);
  std::size_t count = 0;
  for (event_range all = data.events(); const event& one : all) {
    for (std::size_t channel = 0; channel < one.channels(); ++channel) {
      const value here = one[channel];
      if (what_.is_image())
        touch(here.image().pixels.data());
      else
        touch(here.spectrum().values.data());
      if (into != nullptr)
        values_of_block(what_, reinterpret_cast<const unsigned char*>(here.bytes().data()),
                        place_of(what_, into, channel, count));
    }
    ++count;
  }
  expect_all(what_, count);
}

void raw_ways::get_data(std::byte* into) const {
  const auto reader = start_reader({path_}, channels_of(what_));
  std::vector<ravo_channel_entry_long*> entries;
  std::size_t count = 0;
  while (reader->get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT) == RAVO_DAQ_READER_OK) {
    for (std::size_t channel = 0; channel < entries.size(); ++channel) {
      const auto* block = reinterpret_cast<const unsigned char*>(entries[channel]->sbchdata[0].data);
      touch(block);
      if (into != nullptr) values_of_block(what_, block, place_of(what_, into, channel, count));
    }
    ++count;
  }
  expect_all(what_, count);
}

void hdf5_ways::bulk(std::byte* into) const {
  const hdf5_reader file(path_, what_, what_.channels);
  for (int channel = 0; channel < what_.channels; ++channel)
    file.read_all(channel, place_of(what_, into, static_cast<std::size_t>(channel), 0));
}

void hdf5_ways::by_event(std::byte* into) const {
  const hdf5_reader file(path_, what_, what_.channels);
  std::vector<std::byte> kept(
      into == nullptr ? static_cast<std::size_t>(what_.channels) * what_.value_bytes() : 0);
  for (int event = 0; event < what_.events; ++event)
    for (int channel = 0; channel < what_.channels; ++channel) {
      const auto place = static_cast<std::size_t>(channel);
      std::byte* const value = into == nullptr
                                   ? kept.data() + place * what_.value_bytes()
                                   : place_of(what_, into, place, static_cast<std::size_t>(event));
      file.read(channel, event, value);
      touch(value);
    }
}

}  // namespace ravo::bench

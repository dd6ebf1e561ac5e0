// Raw files put together by hand for the tests of the dataset layer, of either generation.
#ifndef RAVO_TEST_DATASET_WRITTEN_FILES_H
#define RAVO_TEST_DATASET_WRITTEN_FILES_H

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "handmade_file.h"
#include "ravo_dataset.h"
#include "temporary_folder.h"

namespace ravo::test {

inline constexpr std::uint32_t noon = 1700000000;

/// An event this many milliseconds after noon.
inline handmade_event event_at(std::uint32_t number, std::uint32_t milliseconds,
                               int type = RAVO_EV_NORMAL) {
  return {number, noon + milliseconds / 1000, milliseconds % 1000 * 1000, type};
}

/// A channel with one number at each of the events.
template <class layout = layout_2010>
handmade_channel numbers_at(const std::string& name,
                            const std::vector<std::pair<std::size_t, float>>& values,
                            std::uint32_t zip_flags = 0) {
  handmade_channel channel(name);
  for (const auto& [event, number] : values) {
    handmade_block block = scalar<layout>(event, number);
    channel.blocks.push_back(zip_flags == 0 ? block : zipped(block, zip_flags));
  }
  return channel;
}

/// An update of a slow channel.
inline handmade_block update_of(layout_2010, std::size_t event, float number, std::uint32_t seconds) {
  handmade_block block;
  block.event = event;
  block.dtype = RAVO_UPD_BLOCK_2010;
  block.payload.text("SLOW", 256).i32(3).u32(seconds).u32(0).f32(number);
  return block;
}
inline handmade_block update_of(layout_2009, std::size_t event, float number, std::uint32_t seconds) {
  handmade_block block;
  block.event = event;
  block.dtype = RAVO_UPD_BLOCK;
  block.payload.text("SLOW", 80).i32(3).u32(seconds).u32(0).f32(number);
  return block;
}

/// A file in the folder; its name has no time, so that names decide nothing.
template <class layout>
std::string write(const temporary_folder& folder, const std::string& name, handmade_file_of<layout>& file) {
  return folder.write(name, file.build().vector());
}

inline selection of_files(std::vector<std::string> files, std::vector<std::string> channels = {}) {
  selection wanted;
  wanted.files = std::move(files);
  wanted.channels = std::move(channels);
  return wanted;
}

inline std::vector<std::uint32_t> numbers_of(event_range events) {
  std::vector<std::uint32_t> numbers;
  for (const event& one : events) numbers.push_back(one.number());
  return numbers;
}

}  // namespace ravo::test

#endif

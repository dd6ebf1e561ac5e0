// The results of one event as a reader hands them out, made by hand: headers and blocks in host order, each
// block in memory that is exactly as long as the block, so that a sanitizer sees every read past it.
#ifndef RAVO_TEST_HANDMADE_EVENT_H
#define RAVO_TEST_HANDMADE_EVENT_H

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "captured_output.h"
#include "ravo_core_records.h"
#include "ravo_payload.h"
#include "ravo_raw_format.h"

namespace ravo::test {

/// Records and codes of the current generation's events.
struct current_event {
  using srvb = ravo_serv_block_head_2010;
  using subhead = ravo_serv_block_subhead_2010;
  using update_record = ravo_upd_data_block_2010;
  static constexpr bool is_current = true;
  static constexpr std::uint32_t pattern = RAVO_EVENT_HEADER_PATTERN_2010;
  static constexpr int update_type = RAVO_UPD_BLOCK_2010;
  static constexpr int spectrum_type = RAVO_BLOCK_2CHAN_2010;
  static constexpr int head_size = 268;
};

/// The same of older events.
struct older_event {
  using srvb = ravo_serv_block_head;
  using subhead = ravo_serv_block_subhead;
  using update_record = ravo_upd_data_block;
  static constexpr bool is_current = false;
  static constexpr std::uint32_t pattern = 0xFFEEFFEE;
  static constexpr int update_type = RAVO_UPD_BLOCK;
  static constexpr int spectrum_type = RAVO_BLOCK_RF_250K;
  static constexpr int head_size = 44;
};

using event_generations = testing::Types<current_event, older_event>;
struct event_generation_name {
  template <class generation>
  static std::string GetName(int) {
    return generation::is_current ? "current" : "older";
  }
};

/// The bytes of a record.
template <class record>
std::string bytes_of(const record& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}
inline std::string floats(const std::vector<float>& values) {
  return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
}

/// A spectrum of two members with three samples each: 0 1 2 and 10 11 12, from 0.5 in steps of 0.25.
template <class generation>
std::string two_spectra() {
  if constexpr (generation::is_current)
    return bytes_of(ravo_spect_head_2010{2, 3, 1, 0.5f, 0.25f, 100, 0, 0}) + floats({0, 1, 2, 10, 11, 12});
  else
    return bytes_of(ravo_spect_head{2, 3, 0.5f, 0.25f}) + floats({-1, -2, 0, 1, 2, 10, 11, 12});
}

template <class generation>
std::string update_payload(std::string_view property, float value) {
  typename generation::update_record record{};
  std::memcpy(record.upd_prop, property.data(), property.size());
  record.upd_ch_status = 3;
  record.upd_ch_time = {1700000000, 5};
  record.upd_ch_data = value;
  return bytes_of(record);
}

inline std::string plain_frame(std::uint32_t w, std::uint32_t h, std::uint32_t bpp,
                               std::string_view pixels) {
  return bytes_of(ravo_image_frame_head{w, h, bpp, 9, 7, 1234, static_cast<std::int32_t>(pixels.size())}) +
         std::string(pixels);
}

class handmade_event {
 public:
  handmade_event() = default;
  handmade_event(const handmade_event&) = delete;
  handmade_event& operator=(const handmade_event&) = delete;

  /// Appends a channel and returns its index. The event number is 100, the time 1600000000.25.
  template <class generation>
  std::size_t add(std::string_view name, int dtype, const std::string& payload,
                  RAVO_EVTYPE event_type = RAVO_EV_NORMAL) {
    auto& header = *new_record<ravo_eventheader>();
    header = {generation::pattern, 444, 100, event_type, {1600000000, 250000}, 1, 2, 3};
    auto& server = *new_record<typename generation::srvb>();
    server.time = {1600000001, 17};
    server.ltotal = 11;
    server.mpulse = 12;
    server.tmask = 13;
    server.status = 14;
    server.nchan = 15;
    typename generation::subhead head{};
    std::memcpy(head.chname, name.data(), name.size());
    head.dtype = dtype;
    head.error = 21;
    head.ldata = static_cast<std::int32_t>(sizeof head + payload.size());
    char* const block = new_memory(sizeof head + payload.size());
    std::memcpy(block, &head, sizeof head);
    if (!payload.empty()) std::memcpy(block + sizeof head, payload.data(), payload.size());
    auto entry = std::make_unique<ravo_channel_entry_long>();
    entry->event_id = {100, {1600000000, 250000}};
    entry->sbchdata[0] = {address(&header), address(&server), address(block), address(block + sizeof head)};
    result_.push_back(entry.get());
    entries_.push_back(std::move(entry));
    return result_.size() - 1;
  }

  std::vector<ravo_channel_entry_long*>* result() { return &result_; }
  ravo_event_chan_ptr_long_entry& addresses(std::size_t i) { return entries_.at(i)->sbchdata[0]; }
  ravo_eventheader& header(std::size_t i) {
    return *reinterpret_cast<ravo_eventheader*>(addresses(i).evhd);
  }
  template <class generation>
  typename generation::subhead& block(std::size_t i) {
    return *reinterpret_cast<typename generation::subhead*>(addresses(i).chhd);
  }
  template <class record = char>
  record* data(std::size_t i) {
    return reinterpret_cast<record*>(addresses(i).data);
  }

 private:
  static std::uint64_t address(const void* where) { return reinterpret_cast<std::uint64_t>(where); }
  char* new_memory(std::size_t size) {
    memory_.emplace_back(new char[size]());
    return memory_.back().get();
  }
  template <class record>
  record* new_record() {
    return reinterpret_cast<record*>(new_memory(sizeof(record)));
  }

  std::vector<std::unique_ptr<char[]>> memory_;
  std::vector<std::unique_ptr<ravo_channel_entry_long>> entries_;
  std::vector<ravo_channel_entry_long*> result_;
};

/// What an action prints on both streams.
struct said {
  std::string out;
  std::string error;
};

inline said listen(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  captured_output out;
  action();
  said heard;
  heard.out = out.stop();
  heard.error = testing::internal::GetCapturedStderr();
  return heard;
}

/// The text that a stream makes of an address.
inline std::string printed(const void* where) {
  std::ostringstream text;
  text << where;
  return text.str();
}

}  // namespace ravo::test

#endif

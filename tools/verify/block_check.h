// Checks one block of a channel: its head, and its data through the decoder that readers
// use. channel_check.cc checks the positions of blocks and the events that they belong to.
#ifndef RAVO_VERIFY_BLOCK_CHECK_H
#define RAVO_VERIFY_BLOCK_CHECK_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "channel_check.h"
#include "decode/decode_block.h"
#include "frames.h"
#include "ravo_data_types.h"

namespace ravo::checks {

/// Where the blocks of a channel can be.
struct block_room {
  std::uint64_t begin, end;
};
/// The channel's basket after its head, or, if that is not known, the file.
template <class G>
block_room room_of(const checked_file& file, const channel_entry& channel);

/// The contents of the head of a good block.
struct block_head {
  std::uint64_t offset;
  std::int32_t dtype;
  std::int32_t error;
  std::uint32_t length;  ///< as unsigned: a negative one is larger than any basket
  const data_type* type = nullptr;
  std::uint32_t original_length = 0;  ///< of a compressed block

  bool is_compressed() const { return (error & RAVO_CHAN_ZIP_FLAG) != 0; }
  std::uint64_t inflated() const { return is_compressed() ? original_length : length; }
  std::uint64_t largest() const { return std::max<std::uint64_t>(length, inflated()); }
};

/// The event number and time in the data of a good block.
struct block_data {
  std::optional<std::uint32_t> frame = {};  ///< event number of a camera frame
  std::optional<time_stamp> reading = {};   ///< when a slow value was read
};

/// An entry of a channel's row, and the number of the event that it leads to.
struct led_to {
  ravo_event_chan_ptr_entry at;
  std::uint32_t number;
};

template <class G>
class block_checker {
 public:
  /// All of these must outlive the checker, which adds to the findings.
  block_checker(channel_surroundings& around, const channel_entry& channel, const block_room& room,
                finding_list& findings);

  /// Whether a block of the channel begins here.
  bool is_at(std::uint64_t offset);

  /// `nullopt` if the head is bad: a block is reported once, for the first thing that is
  /// wrong with it. `next` returns where the part after the block begins, if that is known.
  std::optional<block_head> check_head(const led_to& block,
                                       const std::function<std::optional<std::uint64_t>()>& next);

  /// `nullopt` if the data are bad. Data that are not to be checked count as good and have no contents.
  std::optional<block_data> check_data(const led_to& block, const block_head& head);

 private:
  using subhead = typename G::subhead;
  static constexpr std::size_t head_size = sizeof(subhead);

  std::string name_of(std::uint64_t offset);
  block_head read_head(std::uint64_t offset);
  bool check_type(block_head& head);
  bool check_length(const block_head& head, const std::optional<std::uint64_t>& next);
  bool check_reading_length(const block_head& head);
  bool check_zip_header(block_head& head);
  void find_index();
  bool bears_index(const block_head& head);
  bool is_own_place(const block_head& head);
  bool decode(const led_to& block, const block_head& head, block_data& data);
  bool judge(const decode_result<G>& result, const block_head& head);
  bool report_missing_memory(const block_head& head);
  bool report_unzip_failure(const decode_result<G>& result, const block_head& head);
  void take_frame(const subhead& block, std::uint64_t offset, block_data& data);
  std::optional<time_stamp> time_of(const block_head& head);
  void check_parts(const block_head& head, const byte_view& data);

  template <class Detail>
  bool wrong(finding_kind kind, std::uint64_t offset, Detail&& detail) {
    findings_.add(kind, {channel_.name, number_, offset}, std::forward<Detail>(detail));
    return false;
  }

  channel_surroundings& around_;
  const file_map& map_;
  const channel_entry& channel_;
  const block_room& room_;
  finding_list& findings_;
  window event_headers_, server_blocks_, data_, next_heads_;
  std::optional<std::int32_t> index_;  // of the channel's readings, once it is known
  bool misses_index_ = false;
  std::uint64_t decoded_ = 0;
  frame_repeats repeats_;
  std::uint32_t number_ = 0;  // of the event whose block is being checked
};

}  // namespace ravo::checks

#endif

// Cuts one subchannel out of a decoded block of either generation. The cut is a block in its own right:
// it has a name, a type and a length of its own, and passes every check that a whole block passes.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "format/malloc_owner.h"
#include "format/payload_layout.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace {

using ravo::byte_view;

template <class subhead>
using owned_block = ravo::malloc_owner<subhead>;

// The block to cut: its subheader and a view of its data, which check_payload has accepted.
template <class subhead>
struct source_block {
  const subhead& head;
  const ravo::data_type& type;
  byte_view data;
};

// Builds a block of a known size from front to back.
template <class subhead>
class block_builder {
 public:
  block_builder(const source_block<subhead>& source, RAVO_SUBBLOCK_TYPE type, int subchannel,
                std::size_t data_size)
      : block_(ravo::allocate<subhead>(sizeof(subhead) + data_size)) {
    if (!block_) return;
    *block_ = source.head;
    block_->dtype = type;
    block_->ldata = static_cast<std::int32_t>(sizeof(subhead) + data_size);
    next_ = reinterpret_cast<unsigned char*>(block_.get() + 1);
    left_ = data_size;
    sound_ = set_name(source.head.chname, subchannel);
  }

  /// Appends bytes; more than the block was made for are dropped and spoil it.
  void append(const void* bytes, std::size_t size) {
    if (size > left_) {
      sound_ = false;
      return;
    }
    if (size > 0) std::memcpy(next_, bytes, size);
    next_ += size;
    left_ -= size;
  }

  bool good() const { return block_ && sound_; }
  /// The block, or nothing when there was no memory or the name does not fit.
  owned_block<subhead> finish() {
    return good() && left_ == 0 ? std::move(block_) : owned_block<subhead>();
  }

 private:
  // A shortened name would be that of another channel, perhaps.
  bool set_name(const char* name, int subchannel) {
    const std::size_t room = sizeof block_->chname;
    std::memset(block_->chname, 0, room);
    const int length = std::snprintf(block_->chname, room, "%s:%d", name, subchannel);
    return length > 0 && static_cast<std::size_t>(length) < room;
  }

  owned_block<subhead> block_;
  unsigned char* next_ = nullptr;
  std::size_t left_ = 0;
  bool sound_ = false;
};

// A block that holds one subchannel already: the same data under the subchannel's name.
template <class subhead>
owned_block<subhead> copy_whole(const source_block<subhead>& source, int subchannel) {
  block_builder<subhead> builder(source, source.type.code, subchannel, source.data.size());
  if (builder.good()) builder.append(source.data.data(), source.data.size());
  return builder.finish();
}

template <class subhead>
owned_block<subhead> cut_spectrum(const source_block<subhead>& source, int subchannel) {
  ravo_spect_head_2010 head;
  std::memcpy(&head, source.data.data(), sizeof head);
  if (subchannel >= head.members) return {};
  const std::size_t members = static_cast<std::size_t>(head.members);
  const std::size_t member = static_cast<std::size_t>(subchannel);
  const std::size_t mean = head.flags & RAVO_SPECT_HAS_MEANS ? sizeof(float) : 0;
  const std::size_t statistics =
      head.flags & RAVO_SPECT_HAS_STATISTICS ? sizeof(ravo_spect_statistics_2010) : 0;
  const std::size_t values =
      static_cast<std::size_t>(head.samples) * static_cast<std::size_t>(head.groups) * sizeof(float);
  const unsigned char* means = source.data.data() + sizeof head;
  const unsigned char* all_statistics = means + members * mean;
  const unsigned char* all_values = all_statistics + members * statistics;

  // A type with one member stays what it is; of a type with more, one member is a plain channel.
  const bool keeps_type = source.type.code == RAVO_BLOCK_GENERIC_SPECT || source.type.members == 1;
  head.members = 1;
  block_builder<subhead> builder(source, keeps_type ? source.type.code : RAVO_BLOCK_1CHAN_2010, subchannel,
                                 sizeof head + mean + statistics + values);
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(means + member * mean, mean);
  builder.append(all_statistics + member * statistics, statistics);
  builder.append(all_values + member * values, values);
  return builder.finish();
}

template <class subhead>
owned_block<subhead> cut_spectrum_older(const source_block<subhead>& source, int subchannel) {
  ravo_spect_head head;
  std::memcpy(&head, source.data.data(), sizeof head);
  if (subchannel >= head.members) return {};
  const std::size_t member = static_cast<std::size_t>(subchannel);
  const std::size_t values = static_cast<std::size_t>(head.samples) * sizeof(float);
  const unsigned char* means = source.data.data() + sizeof head;
  const unsigned char* all_values = means + static_cast<std::size_t>(head.members) * sizeof(float);

  head.members = 1;
  block_builder<subhead> builder(source, source.type.members == 1 ? source.type.code : RAVO_BLOCK_SINGLE,
                                 subchannel, sizeof head + sizeof(float) + values);
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(means + member * sizeof(float), sizeof(float));
  builder.append(all_values + member * values, values);
  return builder.finish();
}

// A profile becomes a spectrum whose axis counts pixels from where the region starts: this is what goes
// before its values, in the generation of the subheader.
template <class subhead>
struct profile_head;

template <>
struct profile_head<ravo_serv_block_subhead_2010> {
  ravo_spect_head_2010 head{};
  profile_head(std::int32_t first_pixel, std::int32_t samples, const unsigned char*) {
    head.members = 1;
    head.samples = samples;
    head.groups = 1;
    head.start = static_cast<float>(first_pixel);
    head.inc = 1;
  }
};

template <>
struct profile_head<ravo_serv_block_subhead> {
  ravo_spect_head head{};
  float mean = 0;  // older spectra always have one
  profile_head(std::int32_t first_pixel, std::int32_t samples, const unsigned char* values) {
    head.members = 1;
    head.samples = samples;
    head.start = static_cast<float>(first_pixel);
    head.inc = 1;
    double sum = 0;
    for (std::int32_t i = 0; i < samples; ++i) {
      float value;
      std::memcpy(&value, values + static_cast<std::size_t>(i) * sizeof value, sizeof value);
      sum += static_cast<double>(value);
    }
    if (samples > 0) mean = static_cast<float>(sum / samples);
  }
};

constexpr RAVO_SUBBLOCK_TYPE profile_type(const ravo_serv_block_subhead_2010&) {
  return RAVO_BLOCK_1CHAN_2010;
}
constexpr RAVO_SUBBLOCK_TYPE profile_type(const ravo_serv_block_subhead&) { return RAVO_BLOCK_SINGLE; }

template <class subhead>
owned_block<subhead> cut_roi(const source_block<subhead>& source, int subchannel) {
  if (subchannel >= source.type.members) return {};
  ravo_roi_head roi;
  std::memcpy(&roi, source.data.data(), sizeof roi);
  const bool along_x = subchannel == 0;
  const std::size_t before = along_x ? 0 : static_cast<std::size_t>(roi.width);
  const std::int32_t samples = along_x ? roi.width : roi.height;
  const unsigned char* profile = source.data.data() + sizeof roi + before * sizeof(float);
  const profile_head<subhead> head(along_x ? roi.x_start : roi.y_start, samples, profile);
  const std::size_t values = static_cast<std::size_t>(samples) * sizeof(float);

  block_builder<subhead> builder(source, profile_type(source.head), subchannel, sizeof head + values);
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(profile, values);
  return builder.finish();
}

template <class subhead>
owned_block<subhead> cut_name_value(const source_block<subhead>& source, int subchannel) {
  ravo_name_value_block head;
  std::memcpy(&head, source.data.data(), sizeof head);
  if (subchannel >= head.ndata) return {};
  const std::size_t offset =
      sizeof head + static_cast<std::size_t>(subchannel) * sizeof(ravo_name_value_channel);
  head.ndata = 1;
  block_builder<subhead> builder(source, source.type.code, subchannel,
                                 sizeof head + sizeof(ravo_name_value_channel));
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(source.data.data() + offset, sizeof(ravo_name_value_channel));
  return builder.finish();
}

bool is_cut(ravo::payload_shape shape) {
  using enum ravo::payload_shape;
  return shape != update && shape != update_older && shape != environment && shape != env_dictionary;
}

template <class subhead>
owned_block<subhead> cut(const source_block<subhead>& source, int subchannel) {
  using enum ravo::payload_shape;
  switch (source.type.shape) {
    case spectrum:
      return cut_spectrum(source, subchannel);
    case spectrum_older:
      return cut_spectrum_older(source, subchannel);
    case roi:
      return cut_roi(source, subchannel);
    case name_value:
      return cut_name_value(source, subchannel);
    default:
      return subchannel < source.type.members ? copy_whole(source, subchannel) : owned_block<subhead>();
  }
}

template <class subhead>
bool cut_one_channel(const subhead* block, int subchannel, subhead** result) {
  constexpr bool failed = true;
  if (!result) return failed;
  *result = nullptr;
  if (!block || subchannel < 0) return failed;
  subhead head;
  std::memcpy(&head, block, sizeof head);
  const ravo::data_type* type = ravo::find_data_type(head.dtype);
  if (!type || type->shape == ravo::payload_shape::none) return failed;
  if (!is_cut(type->shape)) return !failed;
  if (head.error & RAVO_CHAN_ZIP_FLAG || head.ldata < static_cast<std::int32_t>(sizeof head) ||
      !std::memchr(head.chname, 0, sizeof head.chname))
    return failed;

  const byte_view data(reinterpret_cast<const unsigned char*>(block) + sizeof head,
                       static_cast<std::size_t>(head.ldata) - sizeof head, ravo::word_order::host);
  ravo::word_map words;
  if (ravo::check_payload(*type, data, words) != RAVO_DATA_OK) return failed;
  *result = cut(source_block<subhead>{head, *type, data}, subchannel).release();
  return *result == nullptr;
}

}  // namespace

bool device_to_one_channel_2010(const ravo_serv_block_subhead_2010* block, int subchannel, int, int,
                                ravo_serv_block_subhead_2010** cut) {
  return cut_one_channel(block, subchannel, cut);
}

bool device_to_one_channel_2009(const ravo_serv_block_subhead* block, int subchannel, int, int,
                                ravo_serv_block_subhead** cut) {
  return cut_one_channel(block, subchannel, cut);
}

bool device_to_one_channel(const ravo_serv_block_subhead* block, int subchannel, int, int,
                           ravo_serv_block_subhead** cut) {
  return cut_one_channel(block, subchannel, cut);
}

// Cuts one subchannel out of a decoded block of either generation. The cut is a block in its own right:
// it has a name, a type and a length of its own, and passes every check that a whole block passes.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>

#include "format/malloc_owner.h"
#include "format/payload_view.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"

namespace {

using namespace ravo;

template <class subhead>
using owned_block = malloc_owner<subhead>;

// The block to cut: its subheader and a view of its data, which parse_payload has accepted.
template <class subhead>
struct source_block {
  const subhead& head;
  const data_type& type;
  byte_view data;
};

// Builds a block of a known size from front to back.
template <class subhead>
class block_builder {
 public:
  block_builder(const source_block<subhead>& source, RAVO_SUBBLOCK_TYPE type, int subchannel,
                std::size_t data_size)
      : block_(allocate<subhead>(sizeof(subhead) + data_size)) {
    if (!block_) return;
    *block_ = source.head;
    block_->dtype = type;
    block_->ldata = static_cast<std::int32_t>(sizeof(subhead) + data_size);
    next_ = reinterpret_cast<unsigned char*>(block_.get() + 1);
    left_ = data_size;
    sound_ = set_name(source.head.chname, subchannel);
  }

  /// Appends bytes; if there are more than the block was made for, they are dropped and finish() fails.
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
  /// The block, or null if there was no memory or the name does not fit.
  owned_block<subhead> finish() {
    return good() && left_ == 0 ? std::move(block_) : owned_block<subhead>();
  }

 private:
  // A shortened name is refused: it might be the name of another channel.
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

// For a block that holds a single subchannel: the same data under the subchannel's name.
template <class subhead>
owned_block<subhead> copy_whole(const source_block<subhead>& source, int subchannel) {
  block_builder<subhead> builder(source, source.type.code, subchannel, source.data.size());
  if (builder.good()) builder.append(source.data.data(), source.data.size());
  return builder.finish();
}

// A type with one member stays the same; a member of a type with several becomes a plain channel.
RAVO_SUBBLOCK_TYPE type_of_member(const data_type& whole, type_generation generation) {
  if (whole.members == 1) return whole.code;
  return generation == type_generation::current ? raw_format_2010::single_channel
                                                : raw_format_2009::single_channel;
}
static_assert(find_data_type(RAVO_BLOCK_GENERIC_SPECT)->members == 1);

template <class subhead>
owned_block<subhead> cut_spectrum(const source_block<subhead>& source, const spectrum_parts& whole,
                                  int subchannel) {
  if (static_cast<std::uint32_t>(subchannel) >= whole.members) return {};
  const member_parts member = whole.member(static_cast<std::size_t>(subchannel));
  const std::size_t mean = member.mean != 0 ? sizeof(float) : 0;
  const std::size_t statistics = member.statistics != 0 ? sizeof(ravo_spect_statistics_2010) : 0;
  block_builder<subhead> builder(source, type_of_member(source.type, whole.generation), subchannel,
                                 whole.head_size + mean + statistics + member.size());
  if (!builder.good()) return {};
  // The head stays the same except for its first word, which says how many members there are.
  static_assert(offsetof(ravo_spect_head, members) == 0 && offsetof(ravo_spect_head_2010, members) == 0);
  constexpr std::int32_t one_member = 1;
  builder.append(&one_member, sizeof one_member);
  builder.append(source.data.data() + sizeof one_member, whole.head_size - sizeof one_member);
  builder.append(source.data.data() + member.mean, mean);
  builder.append(source.data.data() + member.statistics, statistics);
  builder.append(source.data.data() + member.values, member.size());
  return builder.finish();
}

// A profile becomes a spectrum whose axis counts pixels from the start of the region: this is the part
// before its values, in the generation of the subheader.
template <class subhead>
struct profile_head;

template <>
struct profile_head<ravo_serv_block_subhead_2010> {
  ravo_spect_head_2010 head{};
  profile_head(const member_parts& profile, const byte_view&) {
    head.members = 1;
    head.samples = static_cast<std::int32_t>(profile.samples);
    head.groups = 1;
    head.start = profile.axis.start;
    head.inc = profile.axis.increment;
  }
};

template <>
struct profile_head<ravo_serv_block_subhead> {
  ravo_spect_head head{};
  float mean = 0;  // older spectra always have one
  profile_head(const member_parts& profile, const byte_view& data) {
    head.members = 1;
    head.samples = static_cast<std::int32_t>(profile.samples);
    head.start = profile.axis.start;
    head.inc = profile.axis.increment;
    double sum = 0;
    for (std::size_t i = 0; i < profile.samples; ++i)
      sum += static_cast<double>(*data.at<float>(profile.values + i * sizeof(float)));
    if (profile.samples > 0) mean = static_cast<float>(sum / profile.samples);
  }
};

constexpr RAVO_SUBBLOCK_TYPE profile_type(const ravo_serv_block_subhead_2010&) {
  return raw_format_2010::single_channel;
}
constexpr RAVO_SUBBLOCK_TYPE profile_type(const ravo_serv_block_subhead&) {
  return raw_format_2009::single_channel;
}

template <class subhead>
owned_block<subhead> cut_roi(const source_block<subhead>& source, const roi_parts& whole, int subchannel) {
  if (static_cast<std::uint32_t>(subchannel) >= whole.members) return {};
  const member_parts profile = whole.member(static_cast<std::size_t>(subchannel));
  const profile_head<subhead> head(profile, source.data);
  block_builder<subhead> builder(source, profile_type(source.head), subchannel,
                                 sizeof head + profile.size());
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(source.data.data() + profile.values, profile.size());
  return builder.finish();
}

template <class subhead>
owned_block<subhead> cut_name_value(const source_block<subhead>& source, const name_value_parts& whole,
                                    int subchannel) {
  if (static_cast<std::uint32_t>(subchannel) >= whole.count) return {};
  ravo_name_value_block head;
  std::memcpy(&head, source.data.data(), sizeof head);
  head.ndata = 1;
  block_builder<subhead> builder(source, source.type.code, subchannel,
                                 sizeof head + sizeof(ravo_name_value_channel));
  if (!builder.good()) return {};
  builder.append(&head, sizeof head);
  builder.append(source.data.data() + whole.name(static_cast<std::size_t>(subchannel)),
                 sizeof(ravo_name_value_channel));
  return builder.finish();
}

// Whether there is something to cut: slow values and dictionaries have no subchannels.
bool is_cut(payload_shape shape) { return !is_reading(shape) && !layout_as<records_part>(shape); }

template <class subhead>
owned_block<subhead> cut(const source_block<subhead>& source, const payload_parts& parts, int subchannel) {
  const auto whole = [&] {
    return subchannel < source.type.members ? copy_whole(source, subchannel) : owned_block<subhead>();
  };
  return std::visit(
      overloaded{[&](const spectrum_parts& spectrum) { return cut_spectrum(source, spectrum, subchannel); },
                 [&](const roi_parts& roi) { return cut_roi(source, roi, subchannel); },
                 [&](const name_value_parts& list) { return cut_name_value(source, list, subchannel); },
                 [&](const image_parts&) { return whole(); }, [&](const text_part&) { return whole(); },
                 [&](const update_parts&) { return owned_block<subhead>(); },
                 [&](const records_part&) { return owned_block<subhead>(); }},
      parts);
}

template <class subhead>
bool cut_one_channel(const subhead* block, int subchannel, subhead** result) {
  constexpr bool failed = true;
  if (!result) return failed;
  *result = nullptr;
  if (!block || subchannel < 0) return failed;
  subhead head;
  std::memcpy(&head, block, sizeof head);
  const data_type* type = find_data_type(head.dtype);
  if (!type || type->shape == payload_shape::none) return failed;
  if (!is_cut(type->shape)) return !failed;
  if (head.error & RAVO_CHAN_ZIP_FLAG || head.ldata < static_cast<std::int32_t>(sizeof head) ||
      !std::memchr(head.chname, 0, sizeof head.chname))
    return failed;

  const byte_view data(reinterpret_cast<const unsigned char*>(block) + sizeof head,
                       static_cast<std::size_t>(head.ldata) - sizeof head, word_order::host);
  const parsed_payload payload = parse_payload(*type, data);
  if (!payload.is_good()) return failed;
  *result = cut(source_block<subhead>{head, *type, data}, payload.parts, subchannel).release();
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

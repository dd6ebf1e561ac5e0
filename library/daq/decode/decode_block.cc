// How a block is decoded, for both generations; see decode_block.h.
#include "decode/decode_block.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "copy_header.h"
#include "decode/allocate.h"
#include "decode/block_memory.h"
#include "ravo_raw_generations.h"

namespace ravo {
namespace {

template <class T>
malloc_owner<T> allocate_block(std::size_t size) {
  return malloc_owner<T>(static_cast<T*>(allocate(size)));
}

/// Decodes one event of a channel; the steps share what they have found so far.
template <class G>
class block_decoder {
 public:
  block_decoder(const block_source& source, const typename G::chan_pointers_table_entry& where,
                const char* channel, int subchannel)
      : source_(source), where_(where), channel_(channel), subchannel_(subchannel) {}

  decode_result<G> decode() {
    result_.outcome = decode_all();
    if (result_.outcome != decode_outcome::decoded) result_.block.reset();
    return std::move(result_);
  }

 private:
  using subhead = typename G::subhead;
  static constexpr std::size_t head_size = sizeof(subhead);
  // LZO's interface asks for work memory, but LZO1X does not use it to decompress.
  static constexpr std::size_t lzo_work_size = head_size;

  decode_outcome decode_all() {
    if (const auto failure = copy_event_header(); failure != decode_outcome::decoded) return failure;
    if (const auto failure = copy_server_block(); failure != decode_outcome::decoded) return failure;
    if (const auto failure = copy_subheader(); failure != decode_outcome::decoded) return failure;
    const auto found = locate_payload<G>(source_.channel, where_.chhd, where_.data, *head_, payload_);
    result_.zip = payload_.zip;
    if (found != decode_outcome::decoded) return found;
    return decode_data();
  }

  decode_outcome copy_event_header() {
    const auto from = source_.event_headers.at(where_.evhd, sizeof(ravo_eventheader));
    if (!from) return decode_outcome::outside;
    result_.event_header = allocate_block<ravo_eventheader>(sizeof(ravo_eventheader));
    if (!result_.event_header) return decode_outcome::no_event_header_memory;
    copy_header(*from, result_.event_header.get(), 0, 0);
    return is_of_an_event(*result_.event_header) ? decode_outcome::decoded : decode_outcome::misdirected;
  }

  decode_outcome copy_server_block() {
    using head = typename G::server_block_head;
    const auto found = check_server_block<G>(source_.server_blocks.extent(), where_.sbhd);
    if (found != decode_outcome::decoded) return found;
    const auto from = source_.server_blocks.at(where_.sbhd, sizeof(head));
    result_.server_block = allocate_block<head>(sizeof(head));
    if (!result_.server_block) return decode_outcome::no_server_block_memory;
    copy_header(*from, result_.server_block.get(), offsetof(head, server), sizeof(head::server));
    end_text(result_.server_block->server);
    return decode_outcome::decoded;
  }

  decode_outcome copy_subheader() {
    const auto from = read_subheader<G>(source_.channel, where_.chhd);
    if (!from) return decode_outcome::outside;
    head_ = allocate_block<subhead>(head_size);
    if (!head_) return decode_outcome::no_subheader_memory;
    *head_ = *from;
    return decode_outcome::decoded;
  }

  /// Allocates a block for `length` bytes of data, with the subheader in front.
  bool begin_block(std::size_t length) {
    result_.block.reset(static_cast<subhead*>(take_block(head_size + length)));
    if (!result_.block) return false;
    std::memcpy(result_.block.get(), head_.get(), head_size);
    return true;
  }
  unsigned char* data() { return reinterpret_cast<unsigned char*>(result_.block.get() + 1); }

  // If the data are not where the block says, no memory is allocated, except for updates, whose block is
  // made first.
  decode_outcome decode_data() {
    const bool compressed = payload_.form == stored_form::compressed;
    malloc_owner<unsigned char> work;
    if (payload_.bytes != nullptr || is_update()) {
      if (compressed && payload_.by == unzipper::lzo) {
        work = allocate_block<unsigned char>(lzo_work_size);
        if (!work) return decode_outcome::no_work_memory;
      }
      if (!begin_block(payload_.room)) return no_memory();
    }
    const decoded_payload decoded =
        decode_payload<G>(payload_, *head_, channel_, result_.block ? data() : nullptr, work.get());
    result_.unzipped = decoded.unzipped;
    result_.error = decoded.error;
    if (decoded.outcome != decode_outcome::decoded) return decoded.outcome;
    describe_block(decoded.length);
    cut();
    return decode_outcome::decoded;
  }

  bool is_update() const {
    return payload_.form == stored_form::update || payload_.form == stored_form::environment;
  }

  decode_outcome no_memory() const {
    return is_update()                                ? decode_outcome::no_update_memory
           : payload_.form == stored_form::compressed ? decode_outcome::no_block_memory
                                                      : decode_outcome::no_plain_memory;
  }

  /// Makes the subheader fit the decoded data. The subheader of a plain block stays as it is in the file.
  void describe_block(std::size_t length) {
    if (payload_.form == stored_form::plain) return;
    result_.block->ldata = static_cast<std::int32_t>(head_size + length);
    result_.block->dtype = decoded_type<G>(payload_, *head_);
    if (payload_.form == stored_form::compressed) result_.block->error &= ~RAVO_CHAN_ZIP_FLAG;
  }

  void cut() {
    if (!is_member_cut<G>(payload_, head_->dtype, subchannel_)) return;
    subhead* part = nullptr;
    result_.cut_failed = cut_member<G>(payload_, result_.block.get(), subchannel_, &part);
    if (result_.cut_failed || part == nullptr) return;
    const auto from = static_cast<std::uint32_t>(result_.block->dtype) << 16;
    part->dtype = static_cast<std::int32_t>(static_cast<std::uint32_t>(part->dtype) | from);
    result_.block.reset(part);
  }

  const block_source& source_;
  const typename G::chan_pointers_table_entry& where_;
  const char* channel_;
  int subchannel_;
  malloc_owner<subhead> head_;
  stored_payload payload_;
  decode_result<G> result_;
};

}  // namespace

template <class G>
decode_result<G> decode_block(const block_source& source,
                              const typename G::chan_pointers_table_entry& where, const char* channel,
                              int subchannel) {
  return block_decoder<G>(source, where, channel, subchannel).decode();
}

template decode_result<raw_format_2010> decode_block(const block_source&, const ravo_event_chan_ptr_entry&,
                                                     const char*, int);
template decode_result<raw_format_2009> decode_block(const block_source&, const ravo_event_chan_ptr_entry&,
                                                     const char*, int);

}  // namespace ravo

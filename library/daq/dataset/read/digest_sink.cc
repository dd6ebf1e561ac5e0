#include "read/digest_sink.h"

namespace ravo::detail {

class digest_sink::part : public chunk_part {
 public:
  explicit part(digest_sink& sink) : sink_(sink) {}

  value_status put(const column_block& block, block_memory& memory) override {
    if (block.is_held) return value_status::ok;  // it counts for the event that it belongs to
    const ravo_time_id id{block.where.number, block.where.time};
    const found_block& found = block.found;
    if (found.status != value_status::ok) {
      digest_.add(id, found.status, {});
      return found.status;
    }
    unsigned char* const into = memory.fit_decoded(decoded_room(found, sink_.plan_.part.member));
    const decoded_value value = decode_member(block.source, found, sink_.plan_.part.member, into);
    digest_.add(id, value.status, {reinterpret_cast<const std::byte*>(into), value.length});
    return value.status;
  }

  void commit() override { sink_.digest_.add(digest_); }

 private:
  digest_sink& sink_;
  channel_digest digest_;
};

std::unique_ptr<column_sink::chunk_part> digest_sink::begin(std::size_t, std::size_t, block_memory&) {
  return std::make_unique<part>(*this);
}

}  // namespace ravo::detail

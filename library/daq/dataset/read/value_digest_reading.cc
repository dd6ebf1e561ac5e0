#include "read/value_digest_reading.h"

#include "read/canonical_value.h"
#include "read/value_walk.h"

namespace ravo::detail {
namespace {

/// Adds up the digest of one channel.
class digest_taker : public value_taker {
 public:
  std::unique_ptr<chunk> begin() override { return std::make_unique<part>(*this); }

  void end(const walked_rows& rows, std::span<const value_status> statuses) override {
    for (std::size_t row = 0; row < statuses.size(); ++row)
      if (statuses[row] != value_status::ok) digest_access::add(digest_, rows.event(row), statuses[row]);
  }

  const value_digest& digest() const { return digest_; }

 private:
  class part : public chunk {
   public:
    explicit part(digest_taker& whole) : whole_(whole) {}
    void take(const walked_value& value, block_memory& memory) override {
      digest_access::add(
          digest_, value.rows.event(value.row), value.found, value.payload, word_order::file,
          [&memory](std::size_t size) { return reinterpret_cast<std::byte*>(memory.fit_decoded(size)); });
    }
    void commit() override { whole_.digest_.add(digest_); }

   private:
    digest_taker& whole_;
    value_digest digest_;
  };

  value_digest digest_;
};

}  // namespace

std::vector<named_value_digest> read_value_digests(const std::shared_ptr<dataset_state>& state,
                                                   const digest_options& options) {
  std::vector<digest_taker> takers(state->channels.size());
  value_walk walk;
  walk.progress = options.progress;
  for (std::size_t i = 0; i < takers.size(); ++i) walk.channels.push_back({i, &takers[i]});
  walk_values(state, walk);
  std::vector<named_value_digest> all;
  for (std::size_t i = 0; i < takers.size(); ++i)
    all.push_back({state->channels[i].label, takers[i].digest()});
  return all;
}

}  // namespace ravo::detail

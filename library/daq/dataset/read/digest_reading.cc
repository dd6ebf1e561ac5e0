#include "read/canonical_value.h"
#include "read/computed.h"
#include "read/digest_sink.h"
#include "read/value_walk.h"

namespace ravo::detail {
namespace {

/// Adds up the digest of one channel's blocks.
class block_digest_taker : public block_taker {
 public:
  std::unique_ptr<column_sink> sink_for(const walked_rows& rows) override {
    return std::make_unique<digest_sink>(rows.plan, digest_);
  }
  void end(const walked_rows&, std::span<const value_status>) override {}

  const channel_digest& digest() const { return digest_; }

 private:
  channel_digest digest_;
};

/// Adds up the digest of one channel's values.
class value_digest_taker : public value_taker {
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
    explicit part(value_digest_taker& whole) : whole_(whole) {}
    void take(const walked_value& value, block_memory& memory) override {
      digest_access::add(
          digest_, value.rows.event(value.row), value.found, value.payload, word_order::file,
          [&memory](std::size_t size) { return reinterpret_cast<std::byte*>(memory.fit_decoded(size)); });
    }
    void commit() override { whole_.digest_.add(digest_); }

   private:
    value_digest_taker& whole_;
    value_digest digest_;
  };

  value_digest digest_;
};

/// `Named`: a channel's label and its digest.
template <class Named, class Taker>
std::vector<Named> read_with(const std::shared_ptr<dataset_state>& state, const digest_options& options) {
  std::vector<Taker> takers(state->channels.size());
  value_walk walk;
  walk.progress = options.progress;
  for (std::size_t i = 0; i < takers.size(); ++i) walk.channels.push_back({i, &takers[i]});
  walk_values(state, walk);
  std::vector<Named> all;
  for (std::size_t i = 0; i < takers.size(); ++i)
    all.push_back({state->channels[i].label, takers[i].digest()});
  return all;
}

}  // namespace

std::vector<named_digest> read_digests(const std::shared_ptr<dataset_state>& state,
                                       const digest_options& options) {
  return read_with<named_digest, block_digest_taker>(state, options);
}

std::vector<named_value_digest> read_value_digests(const std::shared_ptr<dataset_state>& state,
                                                   const digest_options& options) {
  return read_with<named_value_digest, value_digest_taker>(state, options);
}

}  // namespace ravo::detail

#include "ravo_dataset/digest.h"

#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <map>

#include "read/fold_hash.h"

namespace ravo {

using detail::first_key;
using detail::fold;
using detail::second_key;

void channel_digest::add(const ravo_time_id& event, value_status status, std::span<const std::byte> bytes) {
  if (status != value_status::ok) bytes = {};
  add_hash(detail::hash(bytes, detail::hash(event, status)));
}

void channel_digest::add_hash(std::uint64_t mixed) {
  ++values_;
  sum_ += mixed;
  other_sum_ += fold(mixed ^ second_key, mixed + first_key);
}

void channel_digest::add(const value& one) {
  if (!one.is_held() && (one.status() == value_status::ok || is_missing(one.status())))
    add(one.recorded_with(), one.status(), one.bytes());
}

void channel_digest::add(const channel_digest& other) {
  values_ += other.values_;
  sum_ += other.sum_;
  other_sum_ += other.other_sum_;
}

std::string channel_digest::to_text() const {
  char text[33];
  std::snprintf(text, sizeof text, "%016" PRIx64 "%016" PRIx64, sum_ + fold(values_ + 1, first_key),
                other_sum_);
  return text;
}

std::optional<channel_digest> channel_digest::from_text(std::string_view text, std::uint64_t values) {
  constexpr std::size_t digits = 16;  // of each half
  if (text.size() != 2 * digits) return std::nullopt;
  channel_digest read;
  read.values_ = values;
  for (std::uint64_t* const half : {&read.sum_, &read.other_sum_}) {
    const char* const end = text.data() + digits;
    const auto [stop, error] = std::from_chars(text.data(), end, *half, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    text.remove_prefix(digits);
  }
  read.sum_ -= fold(values + 1, first_key);
  return read;
}

void add_digests(std::vector<named_digest>& to, const std::vector<named_digest>& others) {
  std::map<std::string, std::size_t, std::less<>> places;
  for (std::size_t i = 0; i < to.size(); ++i) places.try_emplace(to[i].channel, i);
  for (const named_digest& other : others) {
    const auto [place, is_new] = places.try_emplace(other.channel, to.size());
    if (is_new)
      to.push_back(other);
    else
      to[place->second].digest.add(other.digest);
  }
}

}  // namespace ravo

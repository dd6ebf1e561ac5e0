#include "ravo_dataset/digest.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>

namespace ravo {
namespace {

// Multiply and fold: each input word reaches every bit of the state. It has to find damage and mistakes,
// not to resist a deliberate search for two blocks with the same digest.
std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
  __extension__ using wide = unsigned __int128;
  const wide product = static_cast<wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

constexpr std::uint64_t first_key = 0x9e3779b97f4a7c15u;
constexpr std::uint64_t second_key = 0xc2b2ae3d27d4eb4fu;

std::uint64_t word_at(const std::byte* bytes, std::size_t size) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, size);
  return word;
}

std::uint64_t hash(std::span<const std::byte> bytes, std::uint64_t state) {
  std::size_t at = 0;
  for (; bytes.size() - at >= 16; at += 16)
    state = fold(word_at(bytes.data() + at, 8) ^ state ^ first_key,
                 word_at(bytes.data() + at + 8, 8) ^ second_key) +
            state;
  for (; at < bytes.size(); at += 8)
    state =
        fold(word_at(bytes.data() + at, std::min<std::size_t>(8, bytes.size() - at)) ^ state, second_key) +
        first_key;
  return fold(state ^ bytes.size(), first_key);
}

}  // namespace

void channel_digest::add(const ravo_time_id& event, value_status status, std::span<const std::byte> bytes) {
  if (status != value_status::ok) bytes = {};
  const std::uint64_t time = std::uint64_t{event.time.timeup} << 32 | event.time.timelow;
  const std::uint64_t what = std::uint64_t{event.event_number} << 8 | static_cast<std::uint8_t>(status);
  const std::uint64_t mixed = hash(bytes, fold(time ^ first_key, what ^ second_key));
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

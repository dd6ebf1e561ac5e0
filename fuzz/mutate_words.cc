// A mutation for inputs that are made of big-endian words: in addition to the fuzzer's own mutations, words
// become lengths, offsets, markers and the limits of integers, preferably near a marker.
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "words.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

using ravo::fuzz::is_marker;
using ravo::fuzz::markers;
using ravo::fuzz::word_at;
using random_numbers = std::minstd_rand;

constexpr std::size_t words_behind_a_marker = 80;

std::vector<std::size_t> find_markers(const std::string& bytes) {
  std::vector<std::size_t> found;
  for (std::size_t at = 0; at + 4 <= bytes.size(); ++at)
    if (is_marker(word_at(bytes, at))) found.push_back(at);
  return found;
}

std::size_t choose_place(const std::string& bytes, const std::vector<std::size_t>& known,
                         random_numbers& random) {
  if (random() % 8 == 0) return bytes.size() - 4;
  if (known.empty() || random() % 4 == 0) return random() % (bytes.size() / 4) * 4;
  return known[random() % known.size()] + random() % words_behind_a_marker * 4;
}

// The content of another word of a table's row, or of the same word in the row above or below.
std::uint32_t neighbour_of(const std::string& bytes, std::size_t at, random_numbers& random) {
  const std::size_t distance = 4 * (1 + random() % 4);
  if (at >= distance && random() % 2 == 0) return word_at(bytes, at - distance);
  return at + distance + 4 <= bytes.size() ? word_at(bytes, at + distance) : 0;
}

std::uint32_t choose_value(const std::string& bytes, std::size_t at, const std::vector<std::size_t>& known,
                           random_numbers& random) {
  const std::uint32_t old = word_at(bytes, at);
  const auto size = static_cast<std::uint32_t>(bytes.size());
  const auto place = known.empty() ? 0 : static_cast<std::uint32_t>(known[random() % known.size()]);
  const std::uint32_t values[] = {0,
                                  1,
                                  0xffffffff,
                                  0x7fffffff,
                                  0x80000000,
                                  size,
                                  size - 4,
                                  size + 4,
                                  old + 1,
                                  old - 1,
                                  old + 4,
                                  old - 4,
                                  old + 8,
                                  old - 8,
                                  neighbour_of(bytes, at, random),
                                  old * 2,
                                  place,
                                  place + 8,
                                  place - 8,
                                  markers[random() % std::size(markers)],
                                  static_cast<std::uint32_t>(random()),
                                  old ^ 1u << random() % 32};
  return values[random() % std::size(values)];
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed) {
  random_numbers random(seed);
  if (size < 8 || random() % 3 == 0) return LLVMFuzzerMutate(data, size, most);
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const std::vector<std::size_t> known = find_markers(bytes);
  for (auto changes = random() % 3 + 1; changes > 0; --changes) {
    const std::size_t at = choose_place(bytes, known, random);
    ravo::fuzz::set_word(bytes, at, choose_value(bytes, at, known, random));
  }
  std::memcpy(data, bytes.data(), size);
  return size;
}

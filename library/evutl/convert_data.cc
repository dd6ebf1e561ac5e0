// Brings the data of a block from file order into host order and back. Both ways reverse the same
// words; they differ in the order in which the counts are read that say where the words are.
#include <cstring>

#include "format/payload_layout.h"
#include "ravo_evutl.h"
#include "ravo_store.h"

namespace {

using ravo::byte_view;
using ravo::word_map;
using ravo::word_order;

// Copies from source to destination piece by piece; the two may be the same memory.
class piecewise_copy {
 public:
  piecewise_copy(const void* source, void* destination, std::size_t length)
      : from_(static_cast<const unsigned char*>(source)),
        to_(static_cast<unsigned char*>(destination)),
        left_(length) {}

  void words(std::size_t count) {
    ravo_swap4(from_, to_, static_cast<int>(count));
    advance(count * 4);
  }
  void bytes(std::size_t count) {
    if (from_ != to_ && count > 0) std::memcpy(to_, from_, count);
    advance(count);
  }
  void rest() { bytes(left_); }

 private:
  void advance(std::size_t count) {
    from_ += count;
    to_ += count;
    left_ -= count;
  }

  const unsigned char* from_;
  unsigned char* to_;
  std::size_t left_;
};

int copy_reversing_words(const void* source, void* destination, int dtype, int length, word_order order) {
  if (!source || !destination || length < 0) return RAVO_DATA_INVALID_ARGUMENT;
  const ravo::data_type* type = ravo::find_data_type(dtype);
  if (!type) return RAVO_DATA_UNKNOWN_TYPE;
  const std::size_t size = static_cast<std::size_t>(length);
  word_map map;
  if (const auto status = ravo::check_payload(*type, byte_view(source, size, order), map);
      status != RAVO_DATA_OK)
    return status;

  piecewise_copy copy(source, destination, size);
  copy.words(map.leading_words);
  copy.bytes(map.text_bytes);
  copy.words(map.middle_words);
  for (std::size_t i = 0; i < map.records; ++i) {
    copy.bytes(map.record_text_bytes);
    copy.words(map.record_words);
  }
  copy.rest();
  return RAVO_DATA_OK;
}

}  // namespace

int ravo_convert_data(const void* source, void* destination, int dtype, int length) {
  return copy_reversing_words(source, destination, dtype, length, word_order::file);
}

int ravo_store_data(const void* source, void* destination, int dtype, int length) {
  return copy_reversing_words(source, destination, dtype, length, word_order::host);
}

int get_channel_number(int dtype, int) {
  const ravo::data_type* type = ravo::find_data_type(dtype);
  return type ? type->members : 0;
}

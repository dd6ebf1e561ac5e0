// Brings the data of a block from file order into host order and back. Both directions reverse the same
// words; they differ in the byte order of the counts that say where the words are.
#include <cstring>

#include "format/payload_view.h"
#include "ravo_evutl.h"
#include "ravo_store.h"

namespace {

using ravo::byte_view;
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
  void rest_as_words() { words(left_ / 4); }
  void rest_as_bytes() { bytes(left_); }

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

// Which parts are words, and which are text or pixels.
void copy_parts(const ravo::payload_parts& parts, piecewise_copy copy) {
  using namespace ravo;
  std::visit(overloaded{[&](const spectrum_parts&) { copy.rest_as_words(); },
                        [&](const roi_parts&) { copy.rest_as_words(); },
                        [&](const records_part&) { copy.rest_as_words(); },
                        [&](const image_parts& image) {
                          copy.words(image.pixels / 4);
                          copy.rest_as_bytes();
                        },
                        [&](const name_value_parts& list) {
                          copy.words(list.comment / 4);
                          copy.bytes(list.comment_size);
                          copy.words(1);
                          for (std::size_t record = 0; record < list.count; ++record) {
                            copy.bytes(list.name_size);
                            copy.words(1);
                          }
                        },
                        [&](const update_parts& reading) {
                          copy.bytes(reading.name_size);
                          copy.rest_as_words();
                        },
                        [&](const text_part&) { copy.rest_as_bytes(); }},
             parts);
}

int copy_reversing_words(const void* source, void* destination, int dtype, int length, word_order order) {
  if (!source || !destination || length < 0) return RAVO_DATA_INVALID_ARGUMENT;
  const ravo::data_type* type = ravo::find_data_type(dtype);
  if (!type) return RAVO_DATA_UNKNOWN_TYPE;
  const std::size_t size = static_cast<std::size_t>(length);
  const ravo::parsed_payload payload = ravo::parse_payload(*type, byte_view(source, size, order));
  if (payload.is_good()) copy_parts(payload.parts, piecewise_copy(source, destination, size));
  return payload.status;
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

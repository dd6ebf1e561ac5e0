#include "decode/stored_block.h"

namespace ravo {

decoded_payload inflate_payload(const stored_payload& payload, unsigned char* into, unsigned char* work) {
  decoded_payload result;
  result.outcome = decode_outcome::unzip_failed;
  if (payload.bytes == nullptr) {
    result.unzipped = {payload.by, unzip_step::parameters, 0, 0};
    return result;
  }
  result.unzipped = unzip(payload.by, payload.bytes, payload.size, into, payload.room, work);
  if (!result.unzipped.ok()) return result;
  result.length = result.unzipped.produced;
  result.outcome =
      result.length == payload.zip.orig_length ? decode_outcome::decoded : decode_outcome::length_mismatch;
  return result;
}

}  // namespace ravo

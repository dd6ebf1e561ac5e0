// Encodes and compresses one block.
#include "block_encoder.h"

#include <lzo/lzo1x.h>
#include <zlib.h>

#include <new>

#include "ravo_data_types.h"
#include "ravo_raw_format.h"
#include "ravo_store.h"

namespace ravo::writer {

namespace {

// What LZO1X may add to data that it cannot compress.
std::size_t lzo_bound(std::size_t length) { return length + length / 16 + 64 + 3; }

}  // namespace

block_encoder::block_encoder(const record_set& records)
    : records_(records), lzo_ready_(lzo_init() == LZO_E_OK) {}

outcome block_encoder::append(const channel& of, RAVO_SUBBLOCK_TYPE dtype, ravo_compression compression,
                              std::span<const unsigned char> data, std::int32_t error, byte_vector& out,
                              std::uint32_t* length) {
  ordered_.resize(data.size());
  if (ravo_store_data(data.data(), ordered_.data(), dtype, static_cast<int>(data.size())) != 0)
    return refusal(RAVO_DAQ_WRITER_INV_PARAM,
                   "the data of channel " + of.name + " (" + std::to_string(data.size()) +
                       " bytes) do not agree with its data type " +
                       std::string(find_data_type(dtype)->name) + "; lay them out as ravo_payload.h says");

  // A packed block must be smaller even with its zip header, or it is not worth unpacking.
  const std::size_t packed = compress(compression, of.zlib_level);
  const bool is_packed = packed != 0 && packed + sizeof(ravo_zip_header) < ordered_.size();
  const std::size_t payload = is_packed ? sizeof(ravo_zip_header) + packed : ordered_.size();
  *length = static_cast<std::uint32_t>(records_.subhead + payload);

  make_room(out, static_cast<std::size_t>(up_to_word(*length)));
  put_text(out, of.name, records_.subhead_name);
  put_int(out, dtype);
  put_int(out, is_packed ? error | RAVO_CHAN_ZIP_FLAG : error);
  put_word(out, *length);
  if (!is_packed) {
    out.insert(out.end(), ordered_.begin(), ordered_.end());
    return {};
  }
  put_word(out, compression == ravo_compression::zlib ? RAVO_ZIP_ZLIB : RAVO_ZIP_LZO1X);
  put_size(out, ordered_.size());
  put_size(out, packed);
  out.insert(out.end(), packed_.begin(), packed_.begin() + static_cast<std::ptrdiff_t>(packed));
  return {};
}

// The number of bytes written to packed_; 0 means that the block stays plain, which every reader can read.
std::size_t block_encoder::compress(ravo_compression compression, int zlib_level) {
  if (compression == ravo_compression::zlib) {
    uLongf produced = compressBound(static_cast<uLong>(ordered_.size()));
    packed_.resize(produced);
    const int status = compress2(packed_.data(), &produced, ordered_.data(),
                                 static_cast<uLong>(ordered_.size()), zlib_level);
    // Reported instead of storing a plain block: the same input must give the same bytes.
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    return status == Z_OK ? produced : 0;
  }
  if (compression == ravo_compression::lzo1x && lzo_ready_) {
    lzo_work_.resize(LZO1X_1_MEM_COMPRESS);
    packed_.resize(lzo_bound(ordered_.size()));
    lzo_uint produced = packed_.size();
    const int status =
        lzo1x_1_compress(ordered_.data(), ordered_.size(), packed_.data(), &produced, lzo_work_.data());
    return status == LZO_E_OK ? produced : 0;
  }
  return 0;
}

}  // namespace ravo::writer

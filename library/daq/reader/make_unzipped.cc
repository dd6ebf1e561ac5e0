// The two operations that inflate a block for a program, and the texts of their failures.
#include <cstdio>

#include "ravo_daq_unzip.h"
#include "report_unzip_failure.h"

namespace ravo {
namespace {

void report_zlib_failure(const unzip_result& result) {
  if (result.step == unzip_step::parameters) std::printf("make_zlib() invalid parameter(s)\n");
  if (result.step == unzip_step::initialisation)
    std::printf("make_zlib() - inflateInit() failed: %d !!!\n", result.code);
  // Two blanks, the misspelling and the missing line end belong to the text.
  if (result.step == unzip_step::decompression)
    std::printf("make_zlib() -  !!!! inflate() returnd %d !!!!", result.code);
}

void report_lzo_failure(const unzip_result& result) {
  if (result.step == unzip_step::parameters) std::printf("make_lzo() invalid parameter(s)\n");
  if (result.step == unzip_step::initialisation) {
    std::printf("make_lzo - internal error - lzo_init() failed !!!\n");
    std::printf(
        "make_lzo - (this usually indicates a compiler bug - try recompiling\nwithout optimizations, and "
        "enable `-DLZO_DEBUG' for diagnostics)\n");
  }
  if (result.step == unzip_step::decompression)
    std::printf("make_lzo - internal error - decompression failed: %d\n", result.code);
}

}  // namespace

void report_unzip_failure(const unzip_result& result) {
  if (result.by == unzipper::zlib)
    report_zlib_failure(result);
  else
    report_lzo_failure(result);
}

namespace {

int make(unzipper by, const unsigned char* start, int slen, unsigned char* dest, int* dlen,
         unsigned char* work) {
  const bool asked_well = start != nullptr && slen > 0 && dest != nullptr && dlen != nullptr && *dlen > 0;
  const unzip_result result = asked_well ? unzip(by, start, static_cast<std::size_t>(slen), dest,
                                                 static_cast<std::size_t>(*dlen), work)
                                         : unzip_result{by, unzip_step::parameters, 0, 0};
  if (!result.ok()) {
    report_unzip_failure(result);
    return 1;
  }
  *dlen = static_cast<int>(result.produced);
  return 0;
}

}  // namespace
}  // namespace ravo

int make_zlib(unsigned char* start, int slen, unsigned char* dest, int* dlen) {
  return ravo::make(ravo::unzipper::zlib, start, slen, dest, dlen, nullptr);
}

int make_lzo(unsigned char* start, int slen, unsigned char* dest, int* dlen, unsigned char* prm) {
  return ravo::make(ravo::unzipper::lzo, start, slen, dest, dlen, prm);
}

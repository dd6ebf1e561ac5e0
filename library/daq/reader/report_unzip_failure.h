// What the classic readers print for a block that cannot be inflated.
#ifndef RAVO_DAQ_READER_REPORT_UNZIP_FAILURE_H
#define RAVO_DAQ_READER_REPORT_UNZIP_FAILURE_H

#include "decode/unzip.h"

namespace ravo {

/// Reports the failure on standard output, with the texts of make_zlib and make_lzo.
void report_unzip_failure(const unzip_result& result);

}  // namespace ravo

#endif

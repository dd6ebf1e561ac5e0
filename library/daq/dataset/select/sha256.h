// The SHA-256 digest of bytes (FIPS 180-4): manifests are named by it.
#ifndef RAVO_DATASET_SHA256_H
#define RAVO_DATASET_SHA256_H

#include <string>
#include <string_view>

namespace ravo::detail {

/// 64 hexadecimal digits, lower case, as sha256sum prints them.
std::string sha256_of(std::string_view bytes);

}  // namespace ravo::detail

#endif

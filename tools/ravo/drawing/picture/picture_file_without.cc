// For builds without Cairo and Pango: the message says how to get them.
#include <stdexcept>

#include "drawing/picture/picture_file.h"

namespace ravo::drawing {
namespace {

[[noreturn]] void refuse() {
  throw std::runtime_error(
      "this program was built without pictures; install Cairo and Pango (Debian: libcairo2-dev, "
      "libpango1.0-dev) and build it again with RAVO_TOOL_PICTURES=ON");
}

}  // namespace

std::unique_ptr<text_ruler> picture_ruler() { refuse(); }

std::string picture_bytes(const picture&, picture_format) { refuse(); }

}  // namespace ravo::drawing

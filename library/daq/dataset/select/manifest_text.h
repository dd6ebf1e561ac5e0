// The bytes of a manifest.
#ifndef RAVO_DATASET_MANIFEST_TEXT_H
#define RAVO_DATASET_MANIFEST_TEXT_H

#include <string>

#include "ravo_dataset/selection.h"

namespace ravo::detail {

/// The lists of a selection as the words of its text, a line for each element.
std::string manifest_text(const selection& lists);

}  // namespace ravo::detail

#endif

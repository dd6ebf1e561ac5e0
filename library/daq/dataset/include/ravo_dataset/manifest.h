// Manifests: files with the long lists of a selection, which its text names together with the digest of
// their bytes.
#ifndef RAVO_DATASET_MANIFEST_H
#define RAVO_DATASET_MANIFEST_H

#include <string>

#include "ravo_dataset/selection.h"
#include "ravo_export.h"

namespace ravo {

/// Writes the lists of a selection (files, context, left_out, gaps, channels and exact) to the file `path`,
/// as the words of a text, and returns the selection that names the file instead. The file must not exist
/// yet: a selection names bytes that do not change. Throws selection_error if it cannot be written.
RAVO_EXPORT selection move_lists_to_manifest(const selection& wanted, const std::string& path);

/// The selection with the lists of its manifests instead of their names. Throws selection_error for a
/// manifest that cannot be read, whose bytes have another digest, or that holds anything but lists.
RAVO_EXPORT selection with_manifests(const selection& wanted);

}  // namespace ravo

#endif

// What the dataset layer throws. Damaged values throw nothing by themselves: they have a status. Only a
// damage policy makes them throw.
#ifndef RAVO_DATASET_ERRORS_H
#define RAVO_DATASET_ERRORS_H

#include <stdexcept>
#include <utility>

#include "ravo_dataset/ledger.h"

#include "ravo_export.h"

namespace ravo {

/// The base of all that is thrown here; what() is one sentence that says what to do.
struct RAVO_EXPORT dataset_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
/// A selection that cannot be read, or that nothing matches.
struct RAVO_EXPORT selection_error : dataset_error {
  using dataset_error::dataset_error;
};
/// A pattern of channels that makes no sense, whatever channels there are.
struct RAVO_EXPORT pattern_error : selection_error {
  using selection_error::selection_error;
};
/// A selection that matches no raw file, or none that can be used now.
struct RAVO_EXPORT files_not_found : selection_error {
  using selection_error::selection_error;
};
/// More is missing than the damage policy allows; what() names the first cause with its file.
struct RAVO_EXPORT missing_data : dataset_error {
  using dataset_error::dataset_error;
};
/// The same for a file that is left out when the dataset is opened.
struct RAVO_EXPORT file_left_out : missing_data {
  explicit file_left_out(refused_file which)
      : missing_data("The file " + which.path + " is left out: " + which.problem), file(std::move(which)) {}
  refused_file file;
};
/// The memory limit is too small for what was asked, or what the caller holds fills it.
struct RAVO_EXPORT memory_exceeded : dataset_error {
  using dataset_error::dataset_error;
};
/// A program asked for what is not there: a channel or a row by a number that is too large, values of
/// another type. what() names both, what is there and what was asked for.
struct RAVO_EXPORT access_error : dataset_error {
  using dataset_error::dataset_error;
};
/// A text that is not the JSON of what is read from it.
struct RAVO_EXPORT json_error : dataset_error {
  using dataset_error::dataset_error;
};
/// The stop token requested a stop.
struct RAVO_EXPORT read_cancelled : dataset_error {
  read_cancelled() : dataset_error("The reading was cancelled") {}
};

}  // namespace ravo

#endif

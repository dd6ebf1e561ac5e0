// A dataset in Python.
#ifndef RAVO_PYTHON_DATASET_HANDLE_H
#define RAVO_PYTHON_DATASET_HANDLE_H

#include <unistd.h>

#include <memory>

#include "ravo_dataset/dataset.h"

namespace ravo::python {

/// A dataset that a forked child opens again, from its selection, when it first uses it: threads and locks
/// of the parent's do not go with it. For use with the interpreter's lock.
class dataset_handle {
 public:
  dataset_handle(const selection& wanted, dataset_options options);

  /// To be kept by a reading, since another thread may drop the handle.
  std::shared_ptr<dataset> get();
  const dataset_options& options() const { return options_; }

 private:
  void open(const selection& wanted);

  dataset_options options_;
  selection selection_;
  std::shared_ptr<dataset> opened_;
  pid_t process_ = 0;
};

}  // namespace ravo::python

#endif

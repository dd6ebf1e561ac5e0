#include "dataset_handle.h"

#include "interruptible.h"
#include "process_bound.h"

namespace ravo::python {

dataset_handle::dataset_handle(const selection& wanted, dataset_options options)
    : options_(std::move(options)) {
  open(wanted);
  selection_ = opened_->get_selection();
}

void dataset_handle::open(const selection& wanted) {
  opened_ = run_interruptible([&](const reading_controls& controls) {
    dataset_options options = options_;
    options.stop = controls.stop;
    return process_bound(dataset::open(wanted, std::move(options)));
  });
  process_ = getpid();
}

std::shared_ptr<dataset> dataset_handle::get() {
  if (process_ != getpid()) open(selection_);
  return opened_;
}

}  // namespace ravo::python

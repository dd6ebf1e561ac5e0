// Objects that own threads and locks do not survive a fork: in the child nobody runs the threads, and a
// lock may be held for ever. There such an object is given up rather than destroyed.
#ifndef RAVO_PYTHON_PROCESS_BOUND_H
#define RAVO_PYTHON_PROCESS_BOUND_H

#include <unistd.h>

#include <memory>
#include <utility>

namespace ravo::python {

/// Destroyed in the process that made it, and only there.
template <class Object>
std::shared_ptr<Object> process_bound(Object&& made) {
  return std::shared_ptr<Object>(new Object(std::move(made)), [maker = getpid()](Object* old) {
    if (getpid() == maker) delete old;
  });
}

}  // namespace ravo::python

#endif

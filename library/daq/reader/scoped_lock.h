// Holds a POSIX mutex for the length of a scope.
#ifndef RAVO_DAQ_READER_SCOPED_LOCK_H
#define RAVO_DAQ_READER_SCOPED_LOCK_H

#include <pthread.h>

namespace ravo {

class scoped_lock {
 public:
  explicit scoped_lock(pthread_mutex_t& mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~scoped_lock() { pthread_mutex_unlock(&mutex_); }
  scoped_lock(const scoped_lock&) = delete;
  scoped_lock& operator=(const scoped_lock&) = delete;

 private:
  pthread_mutex_t& mutex_;
};

}  // namespace ravo

#endif

// System calls that a signal may interrupt, repeated until they are done; no other file makes these calls
// directly. Otherwise they behave as the system's: the result and errno say how they went. A file that
// reaches the size limit of the process is an error like any other here (EFBIG), where the system would end
// the process. Internal code, no interface; the reading layers and the writer compile it in too.
#ifndef RAVO_UNINTERRUPTED_H
#define RAVO_UNINTERRUPTED_H

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>

namespace ravo::uninterrupted {

/// Repeats the call as long as it returns -1 or null because of a signal.
template <class call>
auto repeat(const call& make) {
  const auto failed = [](auto result) {
    if constexpr (requires { *result; })
      return result == nullptr;
    else
      return result == -1;
  };
  for (;;) {
    errno = 0;  // a call that ends without an error number, such as a listing's end, was not interrupted
    const auto result = make();
    if (!failed(result) || errno != EINTR) return result;
  }
}

// ---- asking and opening

inline int open(const char* path, int flags, mode_t mode = 0) {
  return repeat([&] { return ::open(path, flags, mode); });
}
inline int openat(int folder, const char* path, int flags, mode_t mode = 0) {
  return repeat([&] { return ::openat(folder, path, flags, mode); });
}
inline FILE* fopen(const char* path, const char* how) {
  return repeat([&] { return ::fopen(path, how); });
}
inline int stat(const char* path, struct stat* about) {
  return repeat([&] { return ::stat(path, about); });
}
inline int lstat(const char* path, struct stat* about) {
  return repeat([&] { return ::lstat(path, about); });
}
inline int fstat(int file, struct stat* about) {
  return repeat([&] { return ::fstat(file, about); });
}
inline int fstatat(int folder, const char* path, struct stat* about, int flags) {
  return repeat([&] { return ::fstatat(folder, path, about, flags); });
}
inline int access(const char* path, int how) {
  return repeat([&] { return ::access(path, how); });
}
inline int faccessat(int folder, const char* path, int how, int flags) {
  return repeat([&] { return ::faccessat(folder, path, how, flags); });
}
inline char* realpath(const char* path) {
  return repeat([&] { return ::realpath(path, nullptr); });
}
inline off_t lseek(int file, off_t offset, int from) {
  return repeat([&] { return ::lseek(file, offset, from); });
}
inline DIR* opendir(const char* path) {
  return repeat([&] { return ::opendir(path); });
}
/// Null with errno 0: the end.
inline dirent* readdir(DIR* folder) {
  return repeat([&] { return ::readdir(folder); });
}
inline int flock(int file, int operation) {
  return repeat([&] { return ::flock(file, operation); });
}

// ---- reading and writing

inline ssize_t read(int file, void* to, std::size_t size) {
  return repeat([&] { return ::read(file, to, size); });
}
inline ssize_t pread(int file, void* to, std::size_t size, off_t offset) {
  return repeat([&] { return ::pread(file, to, size, offset); });
}

/// Blocks the signal of the file size limit for the thread, so that the call that exceeds the limit fails
/// with EFBIG.
class file_size_signal_held {
 public:
  file_size_signal_held() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~file_size_signal_held() {
    const int error = errno;
    if (sigismember(&before_, SIGXFSZ) != 1) {
      const timespec at_once{};
      if (error == EFBIG) repeat([&] { return sigtimedwait(&signal_, nullptr, &at_once); });
      pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    errno = error;
  }
  file_size_signal_held(const file_size_signal_held&) = delete;
  file_size_signal_held& operator=(const file_size_signal_held&) = delete;

 private:
  sigset_t signal_{};
  sigset_t before_{};
};

inline ssize_t write(int file, const void* from, std::size_t size) {
  const file_size_signal_held held;
  return repeat([&] { return ::write(file, from, size); });
}
inline ssize_t pwrite(int file, const void* from, std::size_t size, off_t offset) {
  const file_size_signal_held held;
  return repeat([&] { return ::pwrite(file, from, size, offset); });
}
/// Writes all of it; false if it cannot.
inline bool write_all(int file, const void* from, std::size_t size) {
  const char* bytes = static_cast<const char*>(from);
  while (size > 0) {
    const ssize_t done = uninterrupted::write(file, bytes, size);
    if (done == 0) errno = ENOSPC;
    if (done <= 0) return false;
    bytes += done;
    size -= static_cast<std::size_t>(done);
  }
  return true;
}
inline int ftruncate(int file, off_t size) {
  const file_size_signal_held held;
  return repeat([&] { return ::ftruncate(file, size); });
}
inline int fsync(int file) {
  return repeat([&] { return ::fsync(file); });
}
/// Syncs the names in a folder to disk, on file systems that support it.
inline int sync_folder(const char* path) {
  const int folder = uninterrupted::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return -1;
  const bool is_done = uninterrupted::fsync(folder) == 0 || errno == EINVAL || errno == EROFS;
  const int error = errno;
  ::close(folder);
  errno = error;
  return is_done ? 0 : -1;
}

// ---- names

inline int rename(const char* from, const char* to) {
  return repeat([&] { return ::rename(from, to); });
}
inline int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  return repeat([&] { return ::renameat2(from_folder, from, to_folder, to, flags); });
}
inline int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
  return repeat([&] { return ::linkat(from_folder, from, to_folder, to, flags); });
}
inline int unlink(const char* path) {
  return repeat([&] { return ::unlink(path); });
}
inline int unlinkat(int folder, const char* path, int flags) {
  return repeat([&] { return ::unlinkat(folder, path, flags); });
}
inline int mkdir(const char* path, mode_t mode) {
  return repeat([&] { return ::mkdir(path, mode); });
}
inline int rmdir(const char* path) {
  return repeat([&] { return ::rmdir(path); });
}

}  // namespace ravo::uninterrupted

#endif

// The calls that replace the system's; see shim.h. Nothing in here may allocate, and nothing is
// instrumented by a sanitizer: the first calls come before a sanitizer is ready.
#include "shim.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <new>

namespace ravo::test {
namespace {

// ---- the fault that is armed ------------------------------------------------------------------------

std::atomic<unsigned> armed_kinds{0};
std::atomic<long> chosen{0};
std::atomic<long> counted{0};
std::atomic<mishap> armed_mishap{mishap::none};
std::atomic<int> armed_error{0};
std::atomic<extent> armed_extent{extent::one_call};
std::atomic<const std::function<void()>*> intruder{nullptr};
std::atomic<pthread_t> controller{};

// Threads made since, for wait_until_held_or_idle().
std::atomic<long> threads_running{0};
std::atomic<long> threads_waiting{0};
std::atomic<long> threads_pausing{0};
std::atomic<long> threads_blocked{0};  // by a lock that another has
std::atomic<int> held{0};
std::atomic<bool> has_held{false};  // the chosen call has come and gone
enum class wait { none, for_a_signal, for_something_else };
std::atomic<wait> controller_waits{wait::none};
std::atomic<pthread_cond_t*> awaited{nullptr};  // what it waits for a signal of
sem_t gate;

// A thread counts while its own body runs: what the system or a sanitizer does around it is theirs.
thread_local bool is_in_its_body = false;
thread_local int inside = 0;  // a replaced call is running: inner ones are the system's own

class quiet {
 public:
  quiet() { ++inside; }
  ~quiet() { --inside; }
};

// What the call that is being made has to do.
mishap verdict(unsigned kind) {
  if (!is_in_its_body || inside != 0 || (armed_kinds.load() & kind) == 0) return mishap::none;
  const mishap what = armed_mishap;
  // While the other thread waits, a call is not a moment at which that thread could do anything.
  if (what == mishap::hold && (controller_waits != wait::none || pthread_equal(controller, pthread_self())))
    return mishap::none;
  const long number = counted.fetch_add(1);
  if (number < chosen) return mishap::none;
  if (number > chosen && armed_extent == extent::one_call) return mishap::none;
  if ((number - chosen) % 2 != 0 && armed_extent == extent::every_second) return mishap::none;
  if (what != mishap::intrusion) return what;
  const quiet own_calls;
  (*intruder)();
  return mishap::none;
}

// A thread that comes too late, when the other already waits, does not stay.
void hold_here() {
  held = 1;
  timespec latest{};
  clock_gettime(CLOCK_REALTIME, &latest);
  latest.tv_sec += 20;  // for waits that are not seen here: the run goes on anyway
  while (controller_waits == wait::none && sem_timedwait(&gate, &latest) != 0 && errno == EINTR) {
  }
  has_held = true;
  held = 0;
}

void die() { kill(getpid(), SIGKILL); }

// True: the call fails, with errno set.
bool fails(unsigned kind) {
  const mishap what = verdict(kind);
  if (what == mishap::kill_before) die();
  if (what == mishap::hold) hold_here();
  if (what == mishap::failure) errno = armed_error;
  return what == mishap::failure;
}

// Whether some thread runs that is not held: it may be the one that is waited for.
bool is_another_running() {
  return threads_running - threads_waiting - threads_pausing - threads_blocked - held > 0;
}

// Called when a thread has ended or begins to wait: perhaps only the held one is left to be waited for.
void let_go_if_awaited() {
  if (held != 0 && controller_waits != wait::none && !is_another_running()) sem_post(&gate);
}

bool is_controller() { return pthread_equal(controller, pthread_self()) != 0; }

// Around a wait of the thread that armed the fault: it must not wait for a thread that is held.
class waiting {
 public:
  explicit waiting(wait what) : counts_(is_controller()) {
    if (!counts_) return;
    controller_waits = what;
    if (held != 0 && (what == wait::for_something_else || !is_another_running())) let_go();
  }
  ~waiting() {
    if (counts_) controller_waits = wait::none;
  }
  waiting(const waiting&) = delete;
  waiting& operator=(const waiting&) = delete;

 private:
  bool counts_;
};

// ---- the system's own -------------------------------------------------------------------------------

// Under a sanitizer the next in line is the sanitizer's. Otherwise the version is given for calls of which
// the system has an old one too.
template <class function>
function next_in_line(const char* name, [[maybe_unused]] const char* version = nullptr) {
  void* found = nullptr;
#if !defined(RAVO_FAULTS_UNDER_ASAN) && !defined(RAVO_FAULTS_UNDER_TSAN)
  if (version != nullptr) found = dlvsym(RTLD_NEXT, name, version);
#endif
  if (found == nullptr) found = dlsym(RTLD_NEXT, name);
  return reinterpret_cast<function>(found);
}

// ---- memory that lives ------------------------------------------------------------------------------

constexpr std::size_t places_known = std::size_t{1} << 17;
struct place {
  void* memory;
  void* asked_from;
};
place known_places[places_known];
std::atomic_flag living_lock = ATOMIC_FLAG_INIT;
std::atomic<bool> is_counting{false};
std::atomic<bool> has_counted{false};
std::atomic<long> living_count{0};

class table_lock {
 public:
  table_lock() {
    while (living_lock.test_and_set(std::memory_order_acquire)) sched_yield();
  }
  ~table_lock() { living_lock.clear(std::memory_order_release); }
};

void* const removed = reinterpret_cast<void*>(~std::uintptr_t{0});

std::size_t slot_of(const void* memory) {
  return (reinterpret_cast<std::uintptr_t>(memory) >> 4) * 0x9e3779b97f4a7c15ull >> 47;
}

void note_given(void* memory, void* asked_from) {
  if (memory == nullptr || inside != 0 || !is_counting) return;
  const table_lock lock;
  for (std::size_t i = 0; i < places_known; ++i) {
    place& one = known_places[(slot_of(memory) + i) % places_known];
    if (one.memory != nullptr && one.memory != removed) continue;
    one = {memory, asked_from};
    ++living_count;
    return;
  }
}

void note_taken(void* memory) {
  if (memory == nullptr || !has_counted) return;
  const table_lock lock;
  for (std::size_t i = 0; i < places_known; ++i) {
    place& one = known_places[(slot_of(memory) + i) % places_known];
    if (one.memory == nullptr) return;
    if (one.memory != memory) continue;
    one.memory = removed;
    --living_count;
    return;
  }
}

}  // namespace

fault::fault(unsigned kinds, long which, mishap what, int error, extent reach) {
  sem_init(&gate, 0, 0);
  held = 0;
  has_held = false;
  controller_waits = wait::none;
  counted = 0;
  chosen = which;
  armed_error = error;
  armed_extent = reach;
  armed_mishap = what;
  controller = pthread_self();
  is_in_its_body = true;
  armed_kinds = kinds;
}

void fault::disarm() const { armed_kinds = 0; }

fault::~fault() {
  disarm();
  if (held != 0) let_go();
}

fault::fault(unsigned kinds, long which, const std::function<void()>& intrude)
    : fault(0, which, mishap::intrusion) {
  intruder = &intrude;
  armed_kinds = kinds;
}

bool fault::happened() const { return counted > chosen; }
long fault::calls() const { return counted; }

bool wait_until_held_or_idle() {
  // Not by the number of calls: between being counted and being held lies a moment.
  while (held == 0 && !has_held && threads_running > threads_waiting + threads_pausing) sched_yield();
  return held != 0;
}

bool wait_until_held_or_over() {
  while (held == 0 && !has_held && threads_running > threads_waiting) sched_yield();
  return held != 0;
}

void let_go() {
  sem_post(&gate);
  while (held != 0) sched_yield();
}

allocation_count::allocation_count() {
  const table_lock lock;
  memset(known_places, 0, sizeof known_places);
  living_count = 0;
  has_counted = is_counting = true;
}
allocation_count::~allocation_count() { has_counted = is_counting = false; }
long allocation_count::living() const { return living_count; }

const char* allocation_count::places() const {
  static char text[1024];
  std::size_t length = 0;
  const table_lock lock;
  for (const place& one : known_places) {
    if (one.memory == nullptr || one.memory == removed || length > sizeof text - 200) continue;
    Dl_info where{};
    dladdr(one.asked_from, &where);
    length += static_cast<std::size_t>(snprintf(text + length, sizeof text - length, "%s+%#lx ",
                                                where.dli_fname == nullptr ? "?" : where.dli_fname,
                                                reinterpret_cast<unsigned long>(one.asked_from) -
                                                    reinterpret_cast<unsigned long>(where.dli_fbase)));
  }
  text[length] = '\0';
  return text;
}

namespace {
std::atomic<long> mappings{0};

long entries_of(const char* folder) {
  const quiet none;
  DIR* const opened = opendir(folder);
  if (opened == nullptr) return -1;
  long count = -3;  // ".", ".." and the listing's own descriptor
  while (readdir(opened) != nullptr) ++count;
  closedir(opened);
  return count;
}
}  // namespace

long living_mappings() { return mappings; }
long open_descriptors() { return entries_of("/proc/self/fd"); }

long idle_threads() {
#if defined(RAVO_FAULTS_UNDER_TSAN)
  return 2;
#else
  return 1;
#endif
}

long settled_threads(long most) {
  const timespec start = [] {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
  }();
  for (;;) {
    const long now = entries_of("/proc/self/task") + 1;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    if (now <= most || time.tv_sec - start.tv_sec > 20) return now;
    sched_yield();
  }
}

}  // namespace ravo::test

// ---- calls ------------------------------------------------------------------------------------------

using namespace ravo::test;

namespace {

// What is asked for while the system looks for its own malloc.
alignas(16) char early_memory[65536];
std::atomic<std::size_t> early_used{0};
bool is_early(const void* memory) {
  return memory >= early_memory && memory < early_memory + sizeof early_memory;
}
void* take_early(std::size_t size) {
  const std::size_t at = early_used.fetch_add((size + 31) & ~std::size_t{15});
  return at + size > sizeof early_memory ? nullptr : early_memory + at;
}

struct allocator {
  void* (*malloc)(std::size_t);
  void* (*calloc)(std::size_t, std::size_t);
  void* (*realloc)(void*, std::size_t);
  void (*free)(void*);
  int (*posix_memalign)(void**, std::size_t, std::size_t);
  void* (*aligned_alloc)(std::size_t, std::size_t);
};
allocator system_allocator;
std::atomic<int> allocator_state{0};  // 1: being looked for, 2: known

bool has_allocator() {
  if (allocator_state == 2) return true;
  int unknown = 0;
  if (!allocator_state.compare_exchange_strong(unknown, 1)) return false;
  system_allocator = {next_in_line<decltype(allocator::malloc)>("malloc"),
                      next_in_line<decltype(allocator::calloc)>("calloc"),
                      next_in_line<decltype(allocator::realloc)>("realloc"),
                      next_in_line<decltype(allocator::free)>("free"),
                      next_in_line<decltype(allocator::posix_memalign)>("posix_memalign"),
                      next_in_line<decltype(allocator::aligned_alloc)>("aligned_alloc")};
  allocator_state = 2;
  return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  if (!has_allocator()) return take_early(size);
  if (fails(call::allocation)) return nullptr;
  void* const memory = system_allocator.malloc(size);
  note_given(memory, __builtin_return_address(0));
  return memory;
}

void* calloc(std::size_t count, std::size_t size) {
  if (!has_allocator()) return take_early(count * size);
  if (fails(call::allocation)) return nullptr;
  void* const memory = system_allocator.calloc(count, size);
  note_given(memory, __builtin_return_address(0));
  return memory;
}

void* realloc(void* memory, std::size_t size) {
  if (!has_allocator() || is_early(memory)) {
    void* const moved = malloc(size);
    if (moved != nullptr && memory != nullptr) memcpy(moved, memory, size);
    return moved;
  }
  if (fails(call::allocation)) return nullptr;
  // Out of the table first: another thread may be given the same address at once.
  note_taken(memory);
  void* const moved = system_allocator.realloc(memory, size);
  note_given(moved == nullptr && size != 0 ? memory : moved, __builtin_return_address(0));
  return moved;
}

void free(void* memory) {
  if (is_early(memory) || !has_allocator()) return;
  note_taken(memory);
  system_allocator.free(memory);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  if (!has_allocator() || fails(call::allocation)) return ENOMEM;
  const int error = system_allocator.posix_memalign(memory, alignment, size);
  if (error == 0) note_given(*memory, __builtin_return_address(0));
  return error;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  if (!has_allocator() || fails(call::allocation)) return nullptr;
  void* const memory = system_allocator.aligned_alloc(alignment, size);
  note_given(memory, __builtin_return_address(0));
  return memory;
}

}  // extern "C"

// Declared as malloc's, so that a sanitizer's own functions do not bypass the count.
void* operator new(std::size_t size) {
  if (void* const memory = malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept { free(memory); }
void operator delete[](void* memory) noexcept { free(memory); }
void operator delete(void* memory, std::size_t) noexcept { free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { free(memory); }

namespace {

// Every call but those for memory: counted, refused, or followed by the end of the process.
template <class result, class system_call>
result guarded(unsigned kind, result failure, system_call&& make) {
  const mishap what = verdict(kind);
  switch (what) {
    case mishap::failure:
      errno = armed_error;
      return failure;
    case mishap::kill_before:
      die();
      return failure;
    case mishap::hold:
      hold_here();
      break;
    default:
      break;
  }
  const quiet system_only;
  const result answer = make();
  if (what == mishap::kill_after || what == mishap::half_then_kill) die();
  return answer;
}

// Reads and writes, which may handle less than they were asked to.
template <class transfer>
ssize_t guarded_transfer(unsigned kind, std::size_t size, transfer&& make) {
  const mishap what = verdict(kind);
  switch (what) {
    case mishap::failure:
      errno = armed_error;
      return -1;
    case mishap::kill_before:
      die();
      return -1;
    case mishap::short_count:
      return make(size > 1 ? 1 : size);
    case mishap::half_then_kill:
      make(size / 2);
      die();
      return -1;
    case mishap::hold:
      hold_here();
      break;
    default:
      break;
  }
  const ssize_t done = make(size);
  if (what == mishap::kill_after) die();
  return done;
}

mode_t mode_of(int flags, va_list& arguments) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  static const auto next = next_in_line<int (*)(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return guarded(call::open, -1, [&] { return next(path, flags, mode); });
}
int open64(const char* path, int flags, ...) {
  static const auto next = next_in_line<int (*)(const char*, int, ...)>("open64");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return guarded(call::open, -1, [&] { return next(path, flags, mode); });
}
int openat(int folder, const char* path, int flags, ...) {
  static const auto next = next_in_line<int (*)(int, const char*, int, ...)>("openat");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return guarded(call::open, -1, [&] { return next(folder, path, flags, mode); });
}
int openat64(int folder, const char* path, int flags, ...) {
  static const auto next = next_in_line<int (*)(int, const char*, int, ...)>("openat64");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return guarded(call::open, -1, [&] { return next(folder, path, flags, mode); });
}
FILE* fopen(const char* path, const char* how) {
  static const auto next = next_in_line<FILE* (*)(const char*, const char*)>("fopen", "GLIBC_2.2.5");
  if (fails(call::open)) return nullptr;
  return next(path, how);
}

DIR* opendir(const char* path) {
  static const auto next = next_in_line<DIR* (*)(const char*)>("opendir");
  if (fails(call::open_folder)) return nullptr;
  return next(path);
}
DIR* fdopendir(int descriptor) {
  static const auto next = next_in_line<DIR* (*)(int)>("fdopendir");
  if (fails(call::open_folder)) return nullptr;
  return next(descriptor);
}
dirent* readdir(DIR* folder) {
  static const auto next = next_in_line<dirent* (*)(DIR*)>("readdir");
  return guarded(call::list_folder, static_cast<dirent*>(nullptr), [&] { return next(folder); });
}
dirent64* readdir64(DIR* folder) {
  static const auto next = next_in_line<dirent64* (*)(DIR*)>("readdir64");
  return guarded(call::list_folder, static_cast<dirent64*>(nullptr), [&] { return next(folder); });
}

int stat(const char* path, struct stat* about) noexcept {
  static const auto next = next_in_line<int (*)(const char*, struct stat*)>("stat");
  return guarded(call::stat, -1, [&] { return next(path, about); });
}
int lstat(const char* path, struct stat* about) noexcept {
  static const auto next = next_in_line<int (*)(const char*, struct stat*)>("lstat");
  return guarded(call::stat, -1, [&] { return next(path, about); });
}
int fstat(int descriptor, struct stat* about) noexcept {
  static const auto next = next_in_line<int (*)(int, struct stat*)>("fstat");
  return guarded(call::stat, -1, [&] { return next(descriptor, about); });
}
int fstatat(int folder, const char* path, struct stat* about, int flags) noexcept {
  static const auto next = next_in_line<int (*)(int, const char*, struct stat*, int)>("fstatat");
  return guarded(call::stat, -1, [&] { return next(folder, path, about, flags); });
}

int access(const char* path, int how) noexcept {
  static const auto next = next_in_line<int (*)(const char*, int)>("access");
  return guarded(call::stat, -1, [&] { return next(path, how); });
}
int faccessat(int folder, const char* path, int how, int flags) noexcept {
  static const auto next = next_in_line<int (*)(int, const char*, int, int)>("faccessat");
  return guarded(call::stat, -1, [&] { return next(folder, path, how, flags); });
}
int ftruncate(int descriptor, off_t size) noexcept {
  static const auto next = next_in_line<int (*)(int, off_t)>("ftruncate");
  return guarded(call::write, -1, [&] { return next(descriptor, size); });
}

ssize_t read(int descriptor, void* to, std::size_t size) {
  static const auto next = next_in_line<ssize_t (*)(int, void*, std::size_t)>("read");
  return guarded_transfer(call::read, size, [&](std::size_t most) { return next(descriptor, to, most); });
}
ssize_t pread(int descriptor, void* to, std::size_t size, off_t at) {
  static const auto next = next_in_line<ssize_t (*)(int, void*, std::size_t, off_t)>("pread");
  return guarded_transfer(call::read, size,
                          [&](std::size_t most) { return next(descriptor, to, most, at); });
}
ssize_t pread64(int descriptor, void* to, std::size_t size, off64_t at) {
  static const auto next = next_in_line<ssize_t (*)(int, void*, std::size_t, off64_t)>("pread64");
  return guarded_transfer(call::read, size,
                          [&](std::size_t most) { return next(descriptor, to, most, at); });
}
ssize_t write(int descriptor, const void* from, std::size_t size) {
  static const auto next = next_in_line<ssize_t (*)(int, const void*, std::size_t)>("write");
  if (descriptor == STDOUT_FILENO || descriptor == STDERR_FILENO) return next(descriptor, from, size);
  return guarded_transfer(call::write, size,
                          [&](std::size_t most) { return next(descriptor, from, most); });
}
ssize_t pwrite(int descriptor, const void* from, std::size_t size, off_t at) {
  static const auto next = next_in_line<ssize_t (*)(int, const void*, std::size_t, off_t)>("pwrite");
  return guarded_transfer(call::write, size,
                          [&](std::size_t most) { return next(descriptor, from, most, at); });
}
ssize_t pwrite64(int descriptor, const void* from, std::size_t size, off64_t at) {
  static const auto next = next_in_line<ssize_t (*)(int, const void*, std::size_t, off64_t)>("pwrite64");
  return guarded_transfer(call::write, size,
                          [&](std::size_t most) { return next(descriptor, from, most, at); });
}
off_t lseek(int descriptor, off_t offset, int from) noexcept {
  static const auto next = next_in_line<off_t (*)(int, off_t, int)>("lseek");
  return guarded(call::seek, off_t{-1}, [&] { return next(descriptor, offset, from); });
}

// Counted, and not done: the system keeps what a killed process has written, and waiting for a disk takes
// time.
int fsync(int) {
  return guarded(call::sync, -1, [] { return 0; });
}
int rename(const char* from, const char* to) noexcept {
  static const auto next = next_in_line<int (*)(const char*, const char*)>("rename");
  return guarded(call::rename, -1, [&] { return next(from, to); });
}
int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept {
  static const auto next = next_in_line<int (*)(int, const char*, int, const char*, unsigned)>("renameat2");
  return guarded(call::rename, -1, [&] { return next(from_folder, from, to_folder, to, flags); });
}
int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) noexcept {
  static const auto next = next_in_line<int (*)(int, const char*, int, const char*, int)>("linkat");
  return guarded(call::rename, -1, [&] { return next(from_folder, from, to_folder, to, flags); });
}
int unlink(const char* path) noexcept {
  static const auto next = next_in_line<int (*)(const char*)>("unlink");
  return guarded(call::remove, -1, [&] { return next(path); });
}
int unlinkat(int folder, const char* path, int flags) noexcept {
  static const auto next = next_in_line<int (*)(int, const char*, int)>("unlinkat");
  return guarded(call::remove, -1, [&] { return next(folder, path, flags); });
}
int rmdir(const char* path) noexcept {
  static const auto next = next_in_line<int (*)(const char*)>("rmdir");
  return guarded(call::remove, -1, [&] { return next(path); });
}
char* mkdtemp(char* pattern) noexcept {
  static const auto next = next_in_line<char* (*)(char*)>("mkdtemp");
  return guarded(call::make_folder, static_cast<char*>(nullptr), [&] { return next(pattern); });
}
int mkdir(const char* path, mode_t mode) noexcept {
  static const auto next = next_in_line<int (*)(const char*, mode_t)>("mkdir");
  return guarded(call::make_folder, -1, [&] { return next(path, mode); });
}
int flock(int descriptor, int operation) noexcept {
  static const auto next = next_in_line<int (*)(int, int)>("flock");
  return guarded(call::file_lock, -1, [&] { return next(descriptor, operation); });
}

#if !defined(RAVO_FAULTS_UNDER_ASAN) && !defined(RAVO_FAULTS_UNDER_TSAN)
// The sanitizers map memory for themselves.
void* mmap(void* at, std::size_t size, int protection, int flags, int descriptor, off_t offset) noexcept {
  static const auto next = next_in_line<void* (*)(void*, std::size_t, int, int, int, off_t)>("mmap");
  void* const memory =
      guarded(call::map, MAP_FAILED, [&] { return next(at, size, protection, flags, descriptor, offset); });
  if (memory != MAP_FAILED && descriptor >= 0) ++mappings;
  return memory;
}
int munmap(void* memory, std::size_t size) noexcept {
  static const auto next = next_in_line<int (*)(void*, std::size_t)>("munmap");
  --mappings;
  return next(memory, size);
}
#endif

// ---- threads

namespace {

struct thread_start {
  void* (*body)(void*);
  void* argument;
};

// A few at a time; given back by the thread itself.
constexpr int most_starts = 4096;
thread_start starts[most_starts];
std::atomic<bool> start_taken[most_starts];

void* run_thread(void* place) {
  auto* const slot = static_cast<thread_start*>(place);
  const thread_start start = *slot;
  start_taken[slot - starts] = false;
  is_in_its_body = true;
  void* const result = start.body(start.argument);
  is_in_its_body = false;
  --threads_running;
  let_go_if_awaited();
  return result;
}

thread_start* take_start() {
  for (int i = 0;; i = (i + 1) % most_starts) {
    bool is_taken = false;
    if (start_taken[i].compare_exchange_strong(is_taken, true)) return &starts[i];
  }
}

}  // namespace

int pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  static const auto next =
      next_in_line<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create",
                                                                                        "GLIBC_2.34");
  if (fails(call::thread)) return armed_error;
  thread_start* const slot = take_start();
  *slot = {body, argument};
  ++threads_running;
  int error = 0;
  {
    const quiet system_only;
    error = next(id, attributes, &run_thread, slot);
  }
  if (error != 0) {
    --threads_running;
    start_taken[slot - starts] = false;
  }
  return error;
}

int pthread_join(pthread_t id, void** result) {
  static const auto next = next_in_line<int (*)(pthread_t, void**)>("pthread_join", "GLIBC_2.34");
  const waiting joins(wait::for_something_else);
  return next(id, result);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static const auto next =
      next_in_line<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait", "GLIBC_2.3.2");
  if (is_controller()) awaited = condition;
  const waiting waits(wait::for_a_signal);
  const bool is_other = !is_controller();
  if (is_other) {
    ++threads_waiting;
    let_go_if_awaited();
  }
  const int result = next(condition, mutex);
  if (is_other) --threads_waiting;
  return result;
}

// A woken thread no longer waits, even if it does not run yet; it will be counted when it waits again.
int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  static const auto next = next_in_line<int (*)(pthread_cond_t*)>("pthread_cond_broadcast", "GLIBC_2.3.2");
  const int result = next(condition);
  wait woken = wait::for_a_signal;
  if (!is_controller() && awaited == condition) controller_waits.compare_exchange_strong(woken, wait::none);
  return result;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto next = next_in_line<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
  static const auto attempt = next_in_line<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
  if (verdict(call::lock) == mishap::hold) hold_here();
  if (const int result = attempt(mutex); result != EBUSY) return result;
  if (is_controller()) {
    const waiting waits(wait::for_something_else);
    return next(mutex);
  }
  // The one that has it may be held.
  ++threads_blocked;
  let_go_if_awaited();
  const int result = next(mutex);
  --threads_blocked;
  return result;
}

// No test waits for the sake of waiting.
int usleep(useconds_t) {
  if (verdict(call::pause) == mishap::hold) hold_here();
  ++threads_pausing;  // in a loop, perhaps, until the caller does something
  let_go_if_awaited();
  sched_yield();
  --threads_pausing;
  return 0;
}

}  // extern "C"

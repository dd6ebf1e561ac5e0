// Makes the system fail, stop or kill at a chosen call. A test program that links shim.cc has its own
// malloc, open, read, pthread_create and so on in place of the system's, for itself and for every library
// it uses; they count while a fault is armed, and one of them does not do what it was asked to.
#ifndef RAVO_TEST_FAULTS_SHIM_H
#define RAVO_TEST_FAULTS_SHIM_H

#include <cstddef>
#include <functional>

namespace ravo::test {

/// What is counted; kinds can be joined with |.
namespace call {
inline constexpr unsigned allocation = 1u << 0;  ///< malloc and its kin, and operator new
inline constexpr unsigned open = 1u << 1;
inline constexpr unsigned map = 1u << 2;
inline constexpr unsigned stat = 1u << 3;
inline constexpr unsigned open_folder = 1u << 4;
inline constexpr unsigned list_folder = 1u << 5;
inline constexpr unsigned read = 1u << 6;  ///< also at an offset
inline constexpr unsigned write = 1u << 7;
inline constexpr unsigned sync = 1u << 8;
inline constexpr unsigned rename = 1u << 9;  ///< links too
inline constexpr unsigned remove = 1u << 10;
inline constexpr unsigned make_folder = 1u << 11;
inline constexpr unsigned thread = 1u << 12;
inline constexpr unsigned file_lock = 1u << 13;
inline constexpr unsigned seek = 1u << 14;
inline constexpr unsigned lock = 1u << 15;   ///< mutexes
inline constexpr unsigned pause = 1u << 16;  ///< usleep
inline constexpr unsigned on_disk =
    open | write | sync | rename | remove | make_folder | file_lock;  ///< what changes files
}  // namespace call

/// What happens to the chosen call.
enum class mishap {
  none,            ///< it is only counted
  failure,         ///< it fails with an error number
  short_count,     ///< a read or write handles one byte only
  half_then_kill,  ///< a write handles half of its bytes, and the process is killed
  kill_before,     ///< the process is killed instead
  kill_after,      ///< the process is killed after it
  intrusion,       ///< something else is done first
  hold,            ///< the calling thread, if it is not the one that armed the fault, stays there until the
                   ///< latter has to wait for something, or lets it go
};

/// Which calls have the mishap.
enum class extent {
  one_call,
  all_from_there,
  every_second,  ///< from there on: code that repeats each interrupted call recovers
};

/// While it lives, the `which`-th (from 0) call of the kinds has the mishap. One at a time.
class fault {
 public:
  fault(unsigned kinds, long which, mishap what, int error = 0, extent reach = extent::one_call);
  /// Before the chosen call `intrude` is called; its own calls are not counted.
  fault(unsigned kinds, long which, const std::function<void()>& intrude);
  ~fault();
  fault(const fault&) = delete;
  fault& operator=(const fault&) = delete;

  /// Whether the chosen call has come.
  bool happened() const;
  /// Calls of the kinds so far.
  long calls() const;
  /// From here on nothing is counted.
  void disarm() const;
};

/// Waits until a thread is held by a fault of mishap::hold, or until none will be: the chosen call has come
/// and gone, or each other thread has ended, waits on a condition or pauses. True: one is held.
bool wait_until_held_or_idle();
/// The same, but a thread that pauses again and again is waited for: it comes to the chosen call.
bool wait_until_held_or_over();
/// Lets a held thread go on.
void let_go();

/// Tests that take minutes under a sanitizer disturb only some of the calls there: one in five meets each
/// place in the code anyway, because a run passes it many times.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr long thinned = 5;
#else
inline constexpr long thinned = 1;
#endif

/// Memory that was given out while it lives and not given back. What the system allocates for a thread that
/// is being made is not counted: it is kept for the next one.
class allocation_count {
 public:
  allocation_count();
  ~allocation_count();
  allocation_count(const allocation_count&) = delete;
  allocation_count& operator=(const allocation_count&) = delete;

  long living() const;
  /// The return addresses of the first few that live, as a text: where they were asked for.
  const char* places() const;
};

/// Parts of files that are mapped through mmap and not yet unmapped.
long living_mappings();
/// Open descriptors of the process.
long open_descriptors();
/// Threads of the process, when those on their way out have gone: at the latest when no more than `most`
/// are left.
long settled_threads(long most);
/// Threads of a process in which nothing runs: its own, and a sanitizer's.
long idle_threads();

}  // namespace ravo::test

#endif

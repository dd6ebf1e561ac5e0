// Makes the system fail or kill a process at a chosen system call, in a child process, so that what
// remains can be examined. The filters are the kernel's own: the code under test is not touched.
#ifndef RAVO_TEST_WRITER_TROUBLE_H
#define RAVO_TEST_WRITER_TROUBLE_H

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

namespace ravo::test {

/// What happens to a system call.
inline constexpr std::uint32_t killed = SECCOMP_RET_KILL_PROCESS;
inline constexpr std::uint32_t failing_with(int error) {
  return SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error);
}

/// Which calls are meant: all of a number, or those with a bit set in, or a value of, one argument.
struct system_call {
  enum class condition { always, bit, value };
  std::uint32_t number;
  condition when = condition::always;
  std::uint32_t argument = 0;
  std::uint32_t compared = 0;
};

inline constexpr system_call every(long number) { return {static_cast<std::uint32_t>(number)}; }
inline constexpr system_call opening_nameless_files{SYS_openat, system_call::condition::bit, 2,
                                                    O_TMPFILE & ~O_DIRECTORY};
inline constexpr system_call on_descriptor(long number, int descriptor) {
  return {static_cast<std::uint32_t>(number), system_call::condition::value, 0,
          static_cast<std::uint32_t>(descriptor)};
}

/// From here on, for the rest of the process. Throws when the kernel has no filters.
inline void trouble(const system_call& call, std::uint32_t outcome) {
  const auto jump = static_cast<std::uint16_t>(
      call.when == system_call::condition::bit ? BPF_JMP | BPF_JSET | BPF_K : BPF_JMP | BPF_JEQ | BPF_K);
  const bool always = call.when == system_call::condition::always;
  const std::uint32_t loaded =
      always ? static_cast<std::uint32_t>(offsetof(seccomp_data, nr))
             : static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 8 * call.argument);
  sock_filter steps[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offsetof(seccomp_data, nr))},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 3, call.number},
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, loaded},
      {jump, 0, 1, always ? call.number : call.compared},
      {BPF_RET | BPF_K, 0, 0, outcome},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  };
  sock_fprog program{sizeof steps / sizeof steps[0], steps};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    throw std::runtime_error("the kernel does not let a process filter its system calls");
}

/// From here on no file of this process grows beyond `bytes`.
inline void limit_files(rlim_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) throw std::runtime_error("no limit for files");
}

/// How a child process ended.
struct ending {
  int signal;  ///< 0 when it ended by itself
  int code;
};

/// Runs `what` in a child process. It ends with code 0, or 99 when something was thrown.
template <class work>
ending in_child(work&& what) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no child process");
  if (child == 0) {
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    int code = 0;
    try {
      what();
    } catch (const std::exception& thrown) {
      fprintf(stderr, "in the child process: %s\n", thrown.what());
      code = 99;
    }
    _exit(code);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("the child process was lost");
  return {WIFSIGNALED(status) ? WTERMSIG(status) : 0, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

/// For checks in a child process, where the test framework cannot be asked.
inline void need(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error("does not hold: " + what);
}
inline void need_equal(const std::string& is, const std::string& expected) {
  if (is != expected) throw std::runtime_error("is \"" + is + "\"\n  expected \"" + expected + "\"");
}

}  // namespace ravo::test

#endif

#include "mutant_runner.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace ravo::test {
namespace {

constexpr std::size_t mutants_of_process = 400;
// Most of a mutant's time is pauses of the table-loading thread, so that more run at once than there are
// cores.
constexpr std::size_t most_processes = 12;
constexpr rlim_t most_address_space = 1u << 30;
constexpr std::size_t most_growth = 64u << 20;  // of resident memory
constexpr std::size_t most_failures = 40;
constexpr std::size_t most_words = 1500;
constexpr std::size_t most_kinds = 32;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_sanitized = true;
#else
constexpr bool is_sanitized = false;
#endif
constexpr unsigned watchdog_seconds = is_sanitized ? 120 : 30;  // for one mutant; they take milliseconds

// Shared with the process that made this one.
struct blackboard {
  std::size_t current;  ///< the mutant that is being checked, or that comes next
  std::size_t end;      ///< the first one that is not this process's
  std::size_t most_memory;
  std::size_t failed;
  char failures[most_failures][most_words];
  struct {
    char name[80];
    std::size_t count;
  } kinds[most_kinds];
};

class shared_blackboard {
 public:
  shared_blackboard()
      : board_(static_cast<blackboard*>(
            mmap(nullptr, sizeof(blackboard), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (board_ == MAP_FAILED) throw std::runtime_error("no shared memory");
  }
  ~shared_blackboard() { munmap(board_, sizeof *board_); }
  shared_blackboard(const shared_blackboard&) = delete;
  shared_blackboard& operator=(const shared_blackboard&) = delete;
  blackboard* operator->() { return board_; }
  const blackboard* operator->() const { return board_; }

  void note(const std::string& failure) {
    if (board_->failed < most_failures)
      std::strncpy(board_->failures[board_->failed], failure.c_str(), most_words - 1);
    ++board_->failed;
  }
  void count(const std::string& kind) {
    for (auto& one : board_->kinds) {
      if (one.name[0] == '\0') std::strncpy(one.name, kind.c_str(), sizeof one.name - 1);
      if (kind != one.name) continue;
      ++one.count;
      return;
    }
  }

 private:
  blackboard* board_;
};

int new_keeping_place() {
  const int file = memfd_create("ravo_matrix_output", MFD_CLOEXEC);
  if (file < 0) throw std::runtime_error("no memory file");
  return file;
}

std::string last_words(int file) {
  const off_t size = lseek(file, 0, SEEK_END);
  std::string words(static_cast<std::size_t>(std::min<off_t>(size, 1000)), '\0');
  // The beginning: a sanitizer reports the kind of error first.
  words.resize(static_cast<std::size_t>(std::max<ssize_t>(0, pread(file, words.data(), words.size(), 0))));
  return words;
}

std::size_t resident_memory() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return static_cast<std::size_t>(used.ru_maxrss) * 1024;
}

// From here on the peak is that of this process: of the memory that it was made with, the unused part goes
// back to the system, for it would be used again unseen; and the peak so far is forgotten.
void begin_with_a_small_heap() {
  malloc_trim(0);
  const int peak = open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
  if (peak < 0 || ::write(peak, "5", 1) != 1) {
    std::cerr << "the peak of the memory cannot be begun anew\n";
    _exit(1);
  }
  close(peak);
}

// Threads that decode need little; without this their stacks and arenas fill the address space.
void bound_memory() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, is_sanitized ? 1u << 20 : 256u << 10);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
  mallopt(M_ARENA_MAX, 2);
  if (is_sanitized) return;  // their shadow memory takes all there is
  const rlimit limit{most_address_space, most_address_space};
  setrlimit(RLIMIT_AS, &limit);
}

[[noreturn]] void check_some(shared_blackboard& board, int messages, const mutant_check& check) {
  dup2(new_keeping_place(), STDOUT_FILENO);
  dup2(messages, STDERR_FILENO);
  bound_memory();
  check.prepare();
  begin_with_a_small_heap();
  const std::size_t at_first = resident_memory();
  for (; board->current < board->end; ++board->current) {
    alarm(watchdog_seconds);
    static_cast<void>(has_printed());
    if (ftruncate(messages, 0) != 0) _exit(1);
    lseek(messages, 0, SEEK_SET);
    const verdict_on_mutant verdict = check.judge(board->current);
    alarm(0);
    board.count(verdict.kind);
    if (!verdict.wrong.empty()) board.note(check.name(board->current) + ": " + verdict.wrong);
    const std::size_t growth = resident_memory() - at_first;
    if (growth > board->most_memory && growth > most_growth && !is_sanitized)
      board.note(check.name(board->current) + ": it took " + std::to_string(growth >> 20) + " MiB");
    board->most_memory = std::max(board->most_memory, growth);
  }
  _exit(0);
}

std::string cause_of_death(int status) {
  if (WIFSIGNALED(status))
    return WTERMSIG(status) == SIGALRM ? "it hung"
                                       : std::string("it ended with ") + strsignal(WTERMSIG(status));
  return "it ended with exit code " + std::to_string(WEXITSTATUS(status));
}

// A process that checks some mutants, and after it the next one that does.
class lane {
 public:
  lane() = default;
  ~lane() { close(messages_); }
  lane(const lane&) = delete;
  lane& operator=(const lane&) = delete;

  bool is_done() const { return board_->current >= board_->end; }
  void take(std::size_t begin, std::size_t end) {
    board_->current = begin;
    board_->end = end;
  }
  pid_t process() const { return process_; }

  void start(const mutant_check& check) {
    std::fflush(stdout);
    std::cout.flush();
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) check_some(board_, messages_, check);
  }
  // The mutant that it died of is reported, and skipped.
  void bury(int status, const mutant_check& check) {
    board_.note(check.name(board_->current) + ": " + cause_of_death(status) + "\n" + last_words(messages_));
    board_.count("crashed or hung");
    ++board_->current;
  }
  void add_to(mutant_tally& tally) const {
    tally.failed += board_->failed;
    tally.most_memory = std::max(tally.most_memory, board_->most_memory);
    for (std::size_t i = 0; i < std::min(board_->failed, most_failures); ++i)
      tally.failures.push_back(board_->failures[i]);
    for (const auto& one : board_->kinds)
      if (one.count > 0) tally.kinds[one.name] += one.count;
  }

 private:
  shared_blackboard board_;
  const int messages_ = new_keeping_place();
  pid_t process_ = -1;
};

}  // namespace

std::size_t mutant_tally::judged() const {
  std::size_t sum = 0;
  for (const auto& [kind, count] : kinds) sum += count;
  return sum;
}

bool has_printed() {
  std::fflush(stdout);
  std::cout.flush();
  const bool has = lseek(STDOUT_FILENO, 0, SEEK_CUR) > 0;
  if (ftruncate(STDOUT_FILENO, 0) != 0) return false;
  lseek(STDOUT_FILENO, 0, SEEK_SET);
  return has;
}

mutant_tally run_mutants(std::size_t count, const mutant_check& check) {
  const auto began = std::chrono::steady_clock::now();
  std::vector<lane> lanes(std::min(most_processes, count));
  const std::size_t share =
      std::clamp(count / std::max<std::size_t>(lanes.size(), 1), std::size_t{1}, mutants_of_process);
  std::size_t next = 0, running = 0;
  const auto go_on = [&](lane& one) {
    if (one.is_done()) {
      const std::size_t begin = std::exchange(next, std::min(count, next + share));
      one.take(begin, next);
    }
    if (one.is_done()) return;
    one.start(check);
    ++running;
  };
  for (lane& one : lanes) go_on(one);
  while (running > 0) {
    int status = 0;
    const pid_t ended = waitpid(-1, &status, 0);
    if (ended < 0 && errno != EINTR) throw std::runtime_error("a process is lost");
    const auto whose =
        std::find_if(lanes.begin(), lanes.end(), [&](const lane& one) { return one.process() == ended; });
    if (whose == lanes.end()) continue;
    --running;
    if (status != 0) whose->bury(status, check);
    go_on(*whose);
  }
  mutant_tally tally;
  tally.mutants = count;
  for (const lane& one : lanes) one.add_to(tally);
  tally.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  return tally;
}

std::string text_of(const mutant_tally& tally) {
  std::string text = std::to_string(tally.mutants) + " mutants in " + std::to_string(tally.seconds) +
                     " s, at most " + std::to_string(tally.most_memory >> 10) + " KiB\n";
  for (const auto& [kind, count] : tally.kinds) text += "  " + std::to_string(count) + " " + kind + "\n";
  for (const std::string& failure : tally.failures) text += failure + "\n";
  return text;
}

}  // namespace ravo::test

#include "process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

extern char** environ;

namespace ravo::test {
namespace {

std::string all_of(int file) {
  std::string text;
  char part[65536];
  off_t at = 0;
  for (ssize_t got; (got = pread(file, part, sizeof part, at)) > 0; at += got)
    text.append(part, static_cast<std::size_t>(got));
  return text;
}

}  // namespace

started_process::started_process(const std::vector<std::string>& arguments)
    : out_(memfd_create("out", MFD_CLOEXEC)), err_(memfd_create("err", MFD_CLOEXEC)) {
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers;
  for (std::string& argument : copies) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out_, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err_, STDERR_FILENO);
  const int failed = posix_spawn(&id_, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error("cannot start " + arguments[0]);
}

started_process::~started_process() {
  if (id_ > 0) {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  close(out_);
  close(err_);
}

process_result started_process::wait() {
  int status = 0;
  rusage used{};
  if (wait4(id_, &status, 0, &used) != id_) throw std::runtime_error("cannot wait for the process");
  id_ = -1;
  process_result result;
  result.most_kilobytes = used.ru_maxrss;
  if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  result.out = all_of(out_);
  result.err = all_of(err_);
  return result;
}

process_result run_process(const std::vector<std::string>& arguments) {
  return started_process(arguments).wait();
}

}  // namespace ravo::test

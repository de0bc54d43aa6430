#include "bench/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

extern char** environ;

namespace bench {

Child::Child(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe for a client");
  }
  output_ = ends[0];
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::string program = STURDY_BENCH_CLIENT;
  std::vector<std::string> texts = arguments;
  std::vector<char*> argv = {program.data()};
  for (std::string& text : texts) {
    argv.push_back(text.data());
  }
  argv.push_back(nullptr);
  const int error =
      ::posix_spawn(&process_, program.c_str(), &actions, nullptr, argv.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  if (error != 0) {
    ::close(output_);
    throw std::runtime_error("the client can't be run");
  }
}

Child::~Child() {
  ::close(output_);
  if (process_ > 0) {
    ::waitpid(process_, nullptr, 0);
  }
}

std::string Child::Output() {
  std::string text;
  std::array<char, 4096> block;
  for (;;) {
    const ssize_t size = ::read(output_, block.data(), block.size());
    if (size <= 0) {
      break;
    }
    text.append(block.data(), static_cast<size_t>(size));
  }
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("the client has failed: " + text);
  }
  return text;
}

long long NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace bench

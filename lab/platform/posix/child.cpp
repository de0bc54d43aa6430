#include "lab/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace lab {

Child::Child(const std::vector<std::string>& command) {
  // Make the pipes. All ends are closed in other children.
  std::array<int, 2> output{};
  std::array<int, 2> input{};
  if (pipe2(output.data(), O_CLOEXEC) != 0) {
    return;
  }
  output_ = fdopen(output[0], "r");
  if (pipe2(input.data(), O_CLOEXEC) != 0) {
    close(output[1]);
    return;
  }
  input_ = input[1];
  // Start the program.
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));  // the call changes none
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
  pid_t id = -1;
  if (posix_spawn(&id, arguments[0], &actions, nullptr, arguments.data(), environ) == 0) {
    process_ = id;
  }
  posix_spawn_file_actions_destroy(&actions);
  // Close the child's ends here, so that the output ends with the child.
  close(output[1]);
  close(input[0]);
}

Child::~Child() {
  Kill();
  if (output_ != nullptr) {
    std::fclose(output_);
  }
  if (input_ >= 0) {
    close(input_);
  }
}

int Child::id() const {
  return static_cast<int>(process_);
}

void Child::Signal() {
  static_cast<void>(!write(input_, "!", 1));
}

void Child::Kill() {
  if (process_ > 0) {
    kill(id(), SIGKILL);
    Wait();
  }
}

int Child::Wait() {
  int status = 0;
  if (process_ <= 0 || waitpid(id(), &status, 0) != id()) {
    return -1;
  }
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace lab

#include "lab/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace lab {

Child::Child(std::vector<std::string> command) {
  std::array<int, 2> output{-1, -1};
  std::array<int, 2> input{-1, -1};
  if (pipe2(output.data(), O_CLOEXEC) != 0 || pipe2(input.data(), O_CLOEXEC) != 0) {
    return;
  }
  std::vector<char*> arguments;
  for (std::string& argument : command) {
    arguments.push_back(argument.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
  if (posix_spawn(&id_, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) {
    id_ = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  close(input[0]);
  output_ = fdopen(output[0], "r");
  input_ = input[1];
}

Child::~Child() {
  Kill();
  if (output_ != nullptr) {
    std::fclose(output_);
    close(input_);
  }
}

std::string Child::ReadLine() {
  std::string line;
  for (int byte = std::fgetc(output_); byte != EOF && byte != '\n'; byte = std::fgetc(output_)) {
    line += static_cast<char>(byte);
  }
  return line;
}

std::string Child::ReadRest() {
  std::string rest;
  for (int byte = std::fgetc(output_); byte != EOF; byte = std::fgetc(output_)) {
    rest += static_cast<char>(byte);
  }
  return rest;
}

void Child::Signal() {
  static_cast<void>(!write(input_, "!", 1));
}

void Child::Kill() {
  if (id_ > 0) {
    kill(id_, SIGKILL);
    Wait();
  }
}

int Child::Wait() {
  int status = 0;
  if (id_ <= 0 || waitpid(id_, &status, 0) != id_) {
    return -1;
  }
  id_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace lab

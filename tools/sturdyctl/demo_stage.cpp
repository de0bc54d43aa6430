#include "tools/sturdyctl/demo_stage.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "lab/data_folder.h"
#include "lab/server_cache.h"
#include "tools/sturdyctl/story.h"

namespace sturdyctl {

std::string Join(const List& list) {
  std::string text;
  for (const std::string& item : list) {
    text += (text.empty() ? "" : ", ") + item;
  }
  return text;
}

void Updates::Add(int code, const std::string& document) {
  const std::lock_guard<std::mutex> lock(mutex_);
  updates_.push_back({code, LinkList(document)});
  added_.notify_all();
}

size_t Updates::Count() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return updates_.size();
}

Updates::Update Updates::WaitFor(size_t number) {
  std::unique_lock<std::mutex> lock(mutex_);
  Expect("the update callback did not come",
         added_.wait_for(lock, kPatience, [&] { return updates_.size() >= number; }));
  return updates_[number - 1];
}

ClientOptions Stage::MakeOptions(const std::string& folder) {
  ClientOptions options;
  options.data_folder = folder;
  return options;
}

void Stage::LeaveServerCache(int port) const {
  lab::ServerCache cache;
  cache.ipv4 = {{"127.0.0.1", port, false}};
  lab::WriteServerCache(lab::DataFolder(folder_.path(), options_.business), cache);
}

void Stage::StartClient() {
  client_ = std::make_unique<Client>(
      options_, [this](int code, const std::string& text) { updates_.Add(code, text); });
}

Updates::Update Stage::WaitForUpdate(size_t number) {
  Updates::Update update = updates_.WaitFor(number);
  Expect("the document that was announced", Join(update.links),
         Join(LinkList(client_->Document(true))));
  return update;
}

void Stage::WaitForLog(const std::string& text) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (std::chrono::steady_clock::now() < end) {
    for (const auto& message : client_->log().ReadNewMessages()) {
      if (message.text.find(text) != std::string::npos) {
        return;
      }
    }
    usleep(1000);
  }
  throw StepFailed("the log never said: " + text);
}

nlohmann::json Stage::RunAnother(const std::string& arguments) const {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string command =
      "'" + program + "' " + arguments + " --json --data '" + folder_.path() + "'";
  std::string output;
  FILE* pipe = popen(command.c_str(), "re");
  Expect("a new process can be started", pipe != nullptr);
  char block[4096];
  for (size_t got; (got = fread(block, 1, sizeof(block), pipe)) > 0;) {
    output.append(block, got);
  }
  const int status = pclose(pipe);
  auto json = nlohmann::json::parse(output, nullptr, false);
  Expect("the new process printed its answer", json.is_object());
  Expect("the new process ended well; it printed " + json.dump(), status == 0);
  return json;
}

}  // namespace sturdyctl

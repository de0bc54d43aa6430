#include "tools/sturdyctl/demo_stage.h"

#include <thread>
#include <utility>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/server_cache.h"
#include "tools/platform/program.h"
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
  Expect("the update callback runs",
         added_.wait_for(lock, kStepLimit, [&] { return updates_.size() >= number; }));
  return updates_[number - 1];
}

ClientOptions Stage::MakeOptions(const std::string& folder) {
  ClientOptions options;
  options.data_folder = folder;
  return options;
}

void Stage::WriteServerCache(int port) const {
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
  Expect("the document of the update", Join(update.links), Join(LinkList(client_->Document())));
  return update;
}

void Stage::WaitForLog(const std::string& text) {
  const auto end = std::chrono::steady_clock::now() + kStepLimit;
  while (std::chrono::steady_clock::now() < end) {
    for (const auto& message : client_->log().ReadNewMessages()) {
      if (message.text.find(text) != std::string::npos) {
        return;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  throw StepFailed("the log never had: " + text);
}

nlohmann::json Stage::RunAnother(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), platform::ThisProgram());
  arguments.insert(arguments.end(), {"--json", "--data", folder_.path()});
  lab::Child child(arguments);
  const std::string output = child.ReadRest();
  auto json = nlohmann::json::parse(output, nullptr, false);
  Expect("the new process prints JSON, not " + output, json.is_object());
  Expect("the new process succeeds; it printed " + output, child.Wait() == 0);
  return json;
}

}  // namespace sturdyctl

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/temp_folder.h"
#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/client_options.h"

namespace sturdyctl {

// Only a broken step takes longer than this.
constexpr std::chrono::milliseconds kStepLimit(20000);
constexpr char kLbsPath[] = "/lbs/conf.jsp";

using List = std::vector<std::string>;

std::string Join(const List& list);

// Records the update callbacks.
// Threads: any. Callbacks come on the service's thread.
// Owner:   the stage.
class Updates {
 public:
  struct Update {
    int code;
    List links;
  };

  void Add(int code, const std::string& document);
  size_t Count();
  // Blocks until the update of this number, from 1, has come. Errors: StepFailed at kStepLimit.
  Update WaitFor(size_t number);

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<Update> updates_;
};

// The client of a scene, with its folder and its updates.
// Threads: one.
// Owner:   the scene.
// Errors:  a wait throws StepFailed at kStepLimit.
class Stage {
 public:
  ClientOptions& options() { return options_; }
  const ClientOptions& options() const { return options_; }
  Client& client() { return *client_; }
  Updates& updates() { return updates_; }

  // Writes the endpoint of HTTP DNS into the client's cache, so that it doesn't try the built-in
  // ones.
  void WriteServerCache(int port) const;
  void StartClient();
  void ExitClient() { client_.reset(); }
  // Also blocks until the fetch of that update has ended.
  Updates::Update WaitForUpdate(size_t number);
  void WaitForLog(const std::string& text);
  // Runs this program as another process with the client's folder, and returns the JSON that it
  // printed.
  nlohmann::json RunAnother(std::vector<std::string> arguments) const;

 private:
  lab::TempFolder folder_;
  ClientOptions options_ = MakeOptions(folder_.path());
  Updates updates_;
  std::unique_ptr<Client> client_;

  static ClientOptions MakeOptions(const std::string& folder);
};

}  // namespace sturdyctl

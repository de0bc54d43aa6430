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

// What the scenes of the demo have in common.

// Nothing takes longer than this unless it is broken.
constexpr std::chrono::milliseconds kPatience(20000);
constexpr char kLbsPath[] = "/lbs/conf.jsp";

using List = std::vector<std::string>;

std::string Join(const List& list);

// The update callbacks that have come. Threads: any.
class Updates {
 public:
  struct Update {
    int code;
    List links;
  };

  void Add(int code, const std::string& document);
  size_t Count();
  // The one of that number, from 1. Throws StepFailed if it doesn't come.
  Update WaitFor(size_t number);

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<Update> updates_;
};

// The client of a scene, with its folder and its updates.
// Threads: one.
// Errors:  StepFailed where something doesn't come.
class Stage {
 public:
  ClientOptions& options() { return options_; }
  const ClientOptions& options() const { return options_; }
  Client& client() { return *client_; }
  Updates& updates() { return updates_; }

  // Leaves the addresses of the HTTP DNS service where a client's earlier run would have left
  // them, so that the service needn't be found at the built-in ones.
  void LeaveServerCache(int port) const;
  void StartClient();
  void ExitClient() { client_.reset(); }
  // Also waits until the fetch is over.
  Updates::Update WaitForUpdate(size_t number);
  void WaitForLog(const std::string& text);
  // Runs this program as another process on the client's folder; gives what it printed as JSON.
  nlohmann::json RunAnother(const std::string& arguments) const;

 private:
  lab::TempFolder folder_;
  ClientOptions options_ = MakeOptions(folder_.path());
  Updates updates_;
  std::unique_ptr<Client> client_;

  static ClientOptions MakeOptions(const std::string& folder);
};

}  // namespace sturdyctl

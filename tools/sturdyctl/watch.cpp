#include <chrono>
#include <ctime>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/interrupt.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

std::string TimeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  char text[16];
  std::strftime(text, sizeof(text), "%H:%M:%S", &local);
  return text;
}

// Prints updates and changes of the list, one line each. Threads: any.
class Printer {
 public:
  explicit Printer(bool json) : json_(json) {}

  void Update(int code, const std::string& document) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (json_) {
      std::cout << nlohmann::json{{"event", "update"}, {"code", code}}.dump() << std::endl;
    } else {
      std::cout << TimeOfDay() << (code == 200 ? "  updated" : "  update failed, old document kept")
                << std::endl;
    }
    ListLocked(LinkList(document));
  }

  void List(const std::vector<std::string>& list) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ListLocked(list);
  }

 private:
  void ListLocked(const std::vector<std::string>& list) {
    if (known_ && list == list_) {
      return;
    }
    known_ = true;
    list_ = list;
    if (json_) {
      std::cout << nlohmann::json{{"event", "list"}, {"links", list}}.dump() << std::endl;
      return;
    }
    std::cout << TimeOfDay() << "  link servers:";
    for (const std::string& link : list) {
      std::cout << ' ' << link;
    }
    std::cout << std::endl;
  }

  const bool json_;
  std::mutex mutex_;
  bool known_ = false;
  std::vector<std::string> list_;
};

}  // namespace

int RunWatch(const ClientOptions& options, bool json) {
  Interrupt interrupt;
  Printer printer(json);
  Client client(options,
                [&](int code, const std::string& document) { printer.Update(code, document); });
  if (!json) {
    std::cout << "log: " << client.log_path() << "\nCtrl-C ends." << std::endl;
  }
  printer.List(LinkList(client.Document()));
  while (!interrupt.WaitFor(std::chrono::hours(1))) {
  }
  if (!json) {
    std::cout << TimeOfDay() << "  exit (a second Ctrl-C ends at once)" << std::endl;
  }
  return kExitOk;
}

}  // namespace sturdyctl

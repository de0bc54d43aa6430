#include <unistd.h>

#include <chrono>
#include <ctime>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/interrupt.h"
#include "tools/sturdyctl/json_text.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

// How often the log is looked at.
constexpr std::chrono::milliseconds kLookAgain(100);

std::string TimeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  char text[16];
  std::strftime(text, sizeof(text), "%H:%M:%S", &local);
  return text;
}

// Prints what happens, one line each. Threads: any.
class Printer {
 public:
  explicit Printer(bool json) : json_(json) {}

  // `text` for people, or an object with the name of the event for machines.
  void Event(const std::string& text, const char* event,
             nlohmann::ordered_json fields = nlohmann::ordered_json::object()) {
    const std::lock_guard<std::mutex> lock(mutex_);
    EventLocked(text, event, std::move(fields));
  }

  void Update(int code, const std::string& document) {
    const std::lock_guard<std::mutex> lock(mutex_);
    EventLocked(code == 200 ? "updated" : "update failed, old document kept", "update",
                {{"code", code}});
    ListLocked(LinkList(document));
  }

  void List(const std::vector<std::string>& list) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ListLocked(list);
  }

  // False once something couldn't be printed.
  bool Works() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::cout.good();
  }

 private:
  void EventLocked(const std::string& text, const char* event, nlohmann::ordered_json fields) {
    if (!json_) {
      std::cout << TimeOfDay() << "  " << text << std::endl;
      return;
    }
    nlohmann::ordered_json object = {{"event", event}};
    object.update(fields);
    std::cout << JsonText(object) << std::endl;
  }

  void ListLocked(const std::vector<std::string>& list) {
    if (known_ && list == list_) {
      return;
    }
    known_ = true;
    list_ = list;
    std::string text = "link servers:";
    for (const std::string& link : list) {
      text += " " + link;
    }
    EventLocked(text, "list", {{"links", list}});
  }

  const bool json_;
  std::mutex mutex_;
  bool known_ = false;
  std::vector<std::string> list_;
};

// What the library tells in its log alone.
void PrintLogged(const std::string& message, Printer& printer) {
  const auto after = [&](std::string_view begin, std::string& rest) {
    const bool is_it = message.compare(0, begin.size(), begin) == 0;
    rest = is_it ? message.substr(begin.size()) : "";
    return is_it;
  };
  std::string rest;
  if (after("[statistic] Do statistic data :", rest)) {
    const auto records = nlohmann::ordered_json::parse(rest, nullptr, false);
    printer.Event("report of failures sent: " + rest, "report_sent",
                  {{"records", records.is_discarded() ? nlohmann::ordered_json(rest) : records}});
  } else if (after("[statistic]Statistic ret:", rest)) {
    printer.Event(rest == "true" ? "report of failures arrived" : "report of failures failed",
                  "report_done", {{"success", rest == "true"}});
  } else if (after("[http dns] Begin update service", rest)) {
    printer.Event("HTTP DNS service asked for its own addresses", "service_update_begun");
  } else if (after("[http dns] Service update complete success = ", rest)) {
    printer.Event(rest == "true" ? "HTTP DNS service gave its own addresses"
                                 : "HTTP DNS service gave none, old addresses kept",
                  "service_update_done", {{"success", rest == "true"}});
  }
}

}  // namespace

int RunWatch(const ClientOptions& options, bool json) {
  Interrupt interrupt;
  Printer printer(json);
  {
    Client client(options,
                  [&](int code, const std::string& document) { printer.Update(code, document); });
    if (!json) {
      std::cout << "log: " << client.log().path() << "\nCtrl-C ends." << std::endl;
    }
    printer.List(LinkList(client.Document()));
    do {
      for (const auto& message : client.log().ReadNewMessages()) {
        if (message.process_id == static_cast<uint32_t>(getpid())) {
          PrintLogged(message.text, printer);
        }
      }
    } while (printer.Works() && !interrupt.WaitFor(kLookAgain));
    printer.Event("exit begins (a second Ctrl-C ends at once)", "exiting");
  }
  printer.Event("exited", "exited");
  return kExitOk;
}

}  // namespace sturdyctl

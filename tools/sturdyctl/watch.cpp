#include <ctime>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "base/platform/thread.h"
#include "tools/platform/interrupt.h"
#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

// Prints events, one line each.
// Threads: any. The update callback prints on the service's thread, all else on the command's.
// Owner:   the command. Outlives the client.
// Errors:  Works returns false after an output error.
class Printer {
 public:
  explicit Printer(bool json) : json_(json) {}

  // Prints `text` for people, or an object with the event's name and fields for programs.
  void Event(const std::string& text, const char* event,
             const nlohmann::ordered_json& fields = nlohmann::ordered_json::object()) {
    const std::lock_guard<std::mutex> lock(mutex_);
    EventLocked(text, event, fields);
  }

  void Update(int code, const std::string& document) {
    const std::lock_guard<std::mutex> lock(mutex_);
    EventLocked(code == 200 ? "fetch succeeded" : "fetch failed, the old document stays", "update",
                {{"code", code}});
    ListLocked(LinkList(document));
  }

  void List(const std::vector<std::string>& list) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ListLocked(list);
  }

  // Returns false once an event couldn't be printed.
  bool Works() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::cout.good();
  }

 private:
  void EventLocked(const std::string& text, const char* event,
                   const nlohmann::ordered_json& fields) {
    if (!json_) {
      std::cout << LocalTime(std::time(nullptr), "%H:%M:%S") << "  " << text << std::endl;
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
    std::string text = list.empty() ? "link servers: none" : "link servers:";
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

// Prints an event that the library reports in its log only.
void PrintLogged(const std::string& message, Printer& printer) {
  const auto after = [&](std::string_view begin, std::string& rest) {
    const bool is_it = message.compare(0, begin.size(), begin) == 0;
    rest = is_it ? message.substr(begin.size()) : "";
    return is_it;
  };
  std::string rest;
  if (after("[statistic] Do statistic data :", rest)) {
    const auto records = nlohmann::ordered_json::parse(rest, nullptr, false);
    printer.Event("failure report sent: " + rest, "report_sent",
                  {{"records", records.is_discarded() ? nlohmann::ordered_json(rest) : records}});
  } else if (after("[statistic]Statistic ret:", rest)) {
    printer.Event(rest == "true" ? "failure report delivered" : "failure report failed",
                  "report_done", {{"success", rest == "true"}});
  } else if (after("[http dns] Begin update service", rest)) {
    printer.Event("endpoints of HTTP DNS requested", "service_update_begun");
  } else if (after("[http dns] Service update complete success = ", rest)) {
    printer.Event(rest == "true" ? "endpoints of HTTP DNS received"
                                 : "no endpoints of HTTP DNS received, the old ones stay",
                  "service_update_done", {{"success", rest == "true"}});
  }
}

}  // namespace

int RunWatch(const ClientOptions& options, bool json) {
  platform::Interrupt interrupt;
  Printer printer(json);
  {
    Client client(options,
                  [&](int code, const std::string& document) { printer.Update(code, document); });
    if (!json) {
      std::cout << "log: " << client.log().path() << "\nPress Ctrl-C to exit." << std::endl;
    }
    printer.List(LinkList(client.Document()));
    do {
      for (const auto& message : client.log().ReadNewMessages()) {
        if (message.process_id == zo_base::CurrentProcessId()) {
          PrintLogged(message.text, printer);
        }
      }
    } while (printer.Works() && !interrupt.WaitFor(platform::kPollInterval));
    printer.Event("exiting (press Ctrl-C again to end at once)", "exiting");
  }
  printer.Event("exited", "exited");
  return kExitOk;
}

}  // namespace sturdyctl

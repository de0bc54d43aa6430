#include <chrono>
#include <cstdio>
#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/platform/interrupt.h"
#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

// Blocks until the first fetch has ended.
// Errors: std::runtime_error if it brought no document, or asks no URL and so never ends.
void WaitForFetch(Client& client, std::future<int> code, const std::string& family) {
  while (code.wait_for(platform::kPollInterval) != std::future_status::ready) {
    for (const log_reader::LogMessage& message : client.log().ReadNewMessages()) {
      if (message.text == "[lbs] LBS addr url list empty!") {
        throw std::runtime_error("no URL is of the family " + family + ", so nothing is fetched.");
      }
    }
  }
  if (code.get() != kFetched) {
    throw std::runtime_error("fetch failed; the log says why: " + client.log().path());
  }
}

const char* SourceName(const LinkAnswer& answer) {
  if (answer.from_default) {
    return "default";
  }
  return answer.from_settings ? "settings" : "list";
}

}  // namespace

int RunLink(const ClientOptions& options, int count, bool wait_for_update, bool json) {
  if (wait_for_update && options.token.empty()) {
    (void)options.LbsRecord();  // says of a bad URL first
    throw std::runtime_error("no token, so a start fetches nothing; give --token.");
  }
  // Start the client, and wait for its first fetch if the user wants that.
  std::promise<int> updated;
  bool is_updated = false;
  const auto begin = std::chrono::steady_clock::now();
  Client client(options, [&](int code, const std::string&) {
    if (!std::exchange(is_updated, true)) {
      updated.set_value(code);
    }
  });
  if (wait_for_update) {
    WaitForFetch(client, updated.get_future(), options.family);
  }

  // Ask for the addresses. Text is printed at once, JSON at the end.
  nlohmann::json answers = nlohmann::json::array();
  for (int i = 0; i < count; ++i) {
    const LinkAnswer answer = client.NextLink(options.Family());
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    const char* source = SourceName(answer);
    if (json) {
      answers.push_back({{"host", answer.host},
                         {"port", answer.port},
                         {"family", FamilyName(answer.family)},
                         {"source", source},
                         {"after_ms", passed.count()}});
    } else {
      std::printf("%-40s %-4s from %s\n", answer.HostPort().c_str(), FamilyName(answer.family),
                  source);
    }
  }
  if (json) {
    const nlohmann::json result = {
        {"links", answers}, {"list", LinkList(client.Document())}, {"log", client.log().path()}};
    std::cout << JsonText(result, 2) << std::endl;
  } else {
    PrintLogPath(client.log().path());
  }
  return kExitOk;
}

}  // namespace sturdyctl

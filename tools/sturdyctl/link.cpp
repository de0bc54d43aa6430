#include <chrono>
#include <cstdio>
#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/output.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunLink(const ClientOptions& options, int count, bool wait_for_update, bool json) {
  // Start the client, and wait for its first fetch if the user wants that. Without a token there is
  // none.
  std::promise<void> updated;
  bool is_updated = false;
  const auto begin = std::chrono::steady_clock::now();
  Client client(options, [&](int, const std::string&) {
    if (!std::exchange(is_updated, true)) {
      updated.set_value();
    }
  });
  if (wait_for_update && !options.token.empty()) {
    updated.get_future().wait();
  }

  // Ask for the addresses. Text is printed at once, JSON at the end.
  nlohmann::json answers = nlohmann::json::array();
  for (int i = 0; i < count; ++i) {
    const LinkAnswer answer = client.NextLink(options.Family());
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    const char* source = answer.from_default ? "default" : "list";
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

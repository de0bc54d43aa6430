#include <chrono>
#include <cstdio>
#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/sturdyctl/client.h"
#include "tools/sturdyctl/commands.h"
#include "tools/sturdyctl/json_text.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

int RunLink(const ClientOptions& options, int count, bool wait_for_update, bool json) {
  std::promise<void> updated;
  bool told = false;
  const auto begin = std::chrono::steady_clock::now();
  Client client(options, [&](int, const std::string&) {
    if (!std::exchange(told, true)) {
      updated.set_value();
    }
  });
  if (wait_for_update && !options.token.empty()) {
    updated.get_future().wait();
  }

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
    std::printf("log: %s (sturdyctl log shows it with its newest lines)\n",
                client.log().path().c_str());
  }
  return kExitOk;
}

}  // namespace sturdyctl

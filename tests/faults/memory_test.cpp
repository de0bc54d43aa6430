// Each allocation of a client fails: once, and with all that follow. No failure ends the process or
// a later call, and none leaves a thread, a request or a fetch that never ends.
#include <gtest/gtest.h>

#include <iostream>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_document.h"

namespace {

// Courses wait more than they compute, so this many clients of a way share them.
constexpr int kClients = 12;

struct Client {
  lab::TempFolder folder;
  std::unique_ptr<lab::Child> process;
};

TEST(Memory, EachAllocationMayFail) {
  const lab::Lab lab(
      {lab::HttpServer("lbs").On(
           kLbsPath,
           lab::Answer(
               TestDocument().Report({.host = "${url:statistics}", .count = 1, .time = 1}).Text())),
       lab::HttpServer("dns").On(
           lab::kHostQueryPath,
           lab::Answer(R"({"code":200,"data":{"cached.test":{"ip":["10.0.0.1"],"ttl":3600}}})")),
       lab::HttpServer("statistics").On(lab::kReportPath, lab::Answer(200))});
  Client clients[2 * kClients];
  for (int i = 0; Client & client : clients) {
    lab::WriteServerCache(lab::DataFolder(client.folder.path()),
                          {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}}});
    client.process = std::make_unique<lab::Child>(std::vector<std::string>{
        MEMORY_HOST, client.folder.path(), lab.Url("lbs", kLbsPath), i % 2 == 0 ? "once" : "onward",
        std::to_string(1 + i / 2), std::to_string(kClients)});
    ++i;
  }
  std::string log;
  for (const Client& client : clients) {
    std::string last;
    for (std::string line = client.process->ReadLine(); !line.empty();
         line = client.process->ReadLine()) {
      EXPECT_EQ(line.find("wrong"), std::string::npos) << last << ": " << line;
      last = line;
    }
    EXPECT_EQ(client.process->Wait(), 0) << last;
    EXPECT_TRUE(last.starts_with("ended ")) << last;
    std::cout << last << '\n';
    log += LogLines(client.folder.path()).Text();
  }
  for (const char* text :
       {"[thread] No memory for a task of ", "[multiple]No memory for the request",
        "[lbs]UpdateLBS lost its request", " failed: out_of_memory after "}) {
    EXPECT_NE(log.find(text), std::string::npos) << text;
  }
}

}  // namespace

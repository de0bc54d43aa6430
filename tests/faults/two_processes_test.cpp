// Two processes that use one data folder, which no client should do: nothing prevents it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "tests/faults/left_files.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_document.h"
#include "tests/support/wait_until.h"

namespace {

lab::Server Lbs(const std::string& name, size_t bytes) {
  return lab::HttpServer(name).On(
      kLbsPath, lab::Answer(TestDocument({name + ".example:1"}, {"${url:" + name + "}" + kLbsPath})
                                .Desc(std::string(bytes, 'x'))
                                .Text()));
}

// Both map one log buffer, and each knows only its own position in it: lines of both are
// overwritten and torn, and a flush or a cut of one removes what the other has just written. Both
// save their caches in place: the last one wins, and what two wrote at once loads as empty.
TEST(TwoProcesses, OnOneDataFolderLoseLinesAndCachesAndNothingElse) {
  const lab::HostBook book = {.hosts = {{"name0", {.ip = {{"192.0.2.1"}}, .ttl_s = 0}}}};
  const lab::Lab lab({Lbs("long", 30000), Lbs("short", 20000),
                      lab::HttpServer("dns").On(lab::kHostQueryPath, lab::Answer(book))});
  const ClientFolder folder;
  lab::WriteServerCache(lab::DataFolder(folder.path()),
                        {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}}});
  const auto spawn = [&](const std::string& server) {
    return std::vector<std::string>{FAULT_HOST, folder.path(), lab.Url(server, kLbsPath)};
  };
  for (size_t round = 1; round <= 15; ++round) {
    lab::Child one(spawn("long"));
    lab::Child other(spawn("short"));
    for (lab::Child* child : {&one, &other}) {
      const std::string link = child->ReadLine();
      EXPECT_TRUE(link.ends_with(".example:1") || link == "link default.example:9") << link;
      child->Signal();
    }
    EXPECT_TRUE(lab.journal().WaitForRequests(40 * round, kPatience));
    one.Signal();
    other.Signal();
    EXPECT_EQ(one.ReadRest() + other.ReadRest(), "");
    EXPECT_EQ(one.Wait(), 0);
    EXPECT_EQ(other.Wait(), 0);
    LeftFiles(folder.path()).ExpectCachesUsableOrEmpty();
  }
  lab::Child third(spawn("long"));
  EXPECT_NE(third.ReadLine(), "");
  EXPECT_TRUE(LogLines(folder.path()).WaitFor("[lbs] Update LBS success = true"));
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/paths.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "tests/support/test_document.h"
#include "tests/tools/run_sturdyctl.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

std::string FileText(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Runs a client whose settings, servers and caches have the marker wherever a secret can be.
void LeaveMarkers(const std::string& folder) {
  const std::string marked = "http://u:MARK@${lbs}" + std::string(kLbsPath) + "?a=MARK";
  const std::string document = TestDocument({"u:one MARK@192.0.2.1:1"}, {marked, marked})
                                   .Set("vltdl", R"("http:\/\/h\/?x=one MARK")")
                                   .Set("appkey", "\n[\"MARK\"]")
                                   .Report({"http://u:MARK@${reports}", true, 1, 60000, 0})
                                   .Text();
  const std::string table =
      R"({"host": "localhost", "ipv4": [${endpoint:dns}, {"host": "h?a=MARK", "token": "MARK"}], )"
      R"("ttl": 1})";
  lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Answer(document)),
                lab::HttpServer("dns").On(lab::kServiceTablePath, lab::Answer(table)),
                lab::HttpServer("reports").On(lab::kReportPath, lab::Answer(200))});
  const std::string data = lab::DataFolder(folder);
  lab::WriteServerCache(data, {.ipv4 = {{"127.0.0.1", lab.Port("dns"), false}},
                               .expires_in = std::chrono::milliseconds(0)});
  const std::string host = lab.HostPort("lbs") + kLbsPath;
  lab::Child watch({STURDYCTL, "watch", "--json", "--data", folder, "--token", "MARK key", "--lbs",
                    "http://MARK@127.0.0.1:1/?MARK", "--lbs", "http://u:MARK@" + host + "?a=MARK",
                    "--default-v4", "u:MARK@192.0.2.2:1", "--default-link", "MARK@192.0.2.3:1"});
  EXPECT_NE(watch.ReadLineWith("report_done"), "");
  kill(watch.id(), SIGINT);
  EXPECT_EQ(watch.Wait(), 0);
  std::ofstream(data + "http_dns/http_dns_cache.data")
      << json({{"u:MARK@a.test", R"({"ipv4": ["h?x=MARK"], "token": "MARK"})"},
               {"b?x=MARK", "{"},
               {"MARK key.test", "{"}});
  // A cache can be a link.
  const std::string cache = data + "lbs/lbs.data";
  std::filesystem::rename(cache, folder + "/elsewhere");
  std::filesystem::create_symlink(folder + "/elsewhere", cache);
}

TEST(Secrets, AreNowhereInWhatTheToolsRedact) {
  const lab::TempFolder folder;
  LeaveMarkers(folder.path());
  // The marker is there.
  for (const char* command : {"log", "why", "state"}) {
    EXPECT_THAT(RunSturdyctl({command, folder.path()}), HasSubstr("MARK")) << command;
  }
  // Nothing printed has it.
  const lab::TempFolder written;
  const std::string page = written.File("page.html");
  const std::string trace = written.File("trace.json");
  const std::vector<std::vector<std::string>> commands = {
      {"log"},
      {"why", "--all"},
      {"why", "--all", "--json"},
      {"state"},
      {"state", "--json"},
      {"stats"},
      {"stats", "--json"},
      {"timeline", "--output", page, "--trace", trace}};
  for (std::vector<std::string> command : commands) {
    command.insert(command.end(), {"--redact", folder.path()});
    EXPECT_THAT(RunSturdyctl(command), Not(HasSubstr("MARK"))) << testing::PrintToString(command);
  }
  // Nor has a file.
  const std::string bundle = written.File("bundle");
  EXPECT_THAT(RunSturdyctl({"bundle", folder.path(), "--output", bundle}), Not(HasSubstr("MARK")));
  std::vector<std::string> files = {page, trace};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(bundle)) {
    if (entry.is_regular_file()) {
      files.push_back(entry.path());
    }
  }
  EXPECT_EQ(files.size(), 2 + 8);
  for (const std::string& file : files) {
    EXPECT_THAT(FileText(file), testing::AllOf(Not(""), Not(HasSubstr("MARK")))) << file;
  }
  // The bundle is a client's folder for the other commands.
  EXPECT_THAT(RunSturdyctl({"state", bundle}), HasSubstr("@192.0.2.1:1"));
  EXPECT_EQ(RunSturdyctl({"log", bundle}), RunSturdyctl({"log", folder.path(), "--redact"}));
}

}  // namespace

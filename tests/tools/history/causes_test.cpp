// Each cause of a failed transfer is provoked in a real client. Its log must name the cause, and
// the words that explain the log must have the sentence for it.
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/port.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"
#include "network/transfer_cause.h"
#include "tests/support/log_lines.h"
#include "tests/support/own_mounts.h"
#include "tests/support/own_network.h"
#include "tests/support/sanitizers.h"
#include "tests/support/test_document.h"
#include "tools/history/read_history.h"
#include "tools/history/try_words.h"
#include "tools/history/why_words.h"

namespace {

using history::Fetch;
using history::Kind;
using lab::HttpServer;
using lab::Listening;
using testing::HasSubstr;

// A client in its own process, and the server "it" that it asks.
class Client {
 public:
  explicit Client(const lab::Server& server) : server_(server) {
    lab::WriteServerCache(lab::DataFolder(folder.path()));  // nobody listens there
  }

  // Makes the server on the first call: its thread inherits the mounts of the test's.
  lab::Lab& Lab() { return lab_ ? *lab_ : lab_.emplace(lab::Scenario{server_}); }
  // Returns once the client has got an address after its first fetch.
  void Start() { Start({Lab().Url("it", kLbsPath)}); }
  void Start(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {CAUSE_CLIENT, folder.path()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ASSERT_NE(process_.emplace(command).ReadLine(), "");
  }
  // Makes it fetch again, and returns when it has got another address.
  void FetchAgain() {
    process_->Signal();
    ASSERT_NE(process_->ReadLine(), "");
  }
  lab::Child& process() { return *process_; }

  const lab::TempFolder folder;
  const LogLines log{folder.path()};

 private:
  const lab::Server server_;
  std::optional<lab::Lab> lab_;
  std::optional<lab::Child> process_;
};

void FailFirstFetch(Client& client) {
  client.Start();
}

void AskAlone(Client& client, const std::string& url) {
  NEEDS_RIGHT(EnterOwnNetwork() &&
                  ReplaceFile("/etc/resolv.conf", "nameserver 127.0.0.1\n", client.folder.path()),
              "make a network namespace");
  client.Start({url});
}

// A socket holds every request for a document, but not a report of many long URLs.
void ReportToDeafServer(Client& client) {
  boost::asio::io_context io;
  lab::LoopbackPort port(io, "127.0.0.1", 0);
  boost::asio::ip::tcp::acceptor deaf = port.Listen(1);
  const int segment_bytes = 200;
  const int buffer_bytes = 1;
  setsockopt(deaf.native_handle(), IPPROTO_TCP, TCP_MAXSEG, &segment_bytes, sizeof segment_bytes);
  setsockopt(deaf.native_handle(), SOL_SOCKET, SO_RCVBUF, &buffer_bytes, sizeof buffer_bytes);
  std::vector<std::string> urls = {"nowhere"};
  for (int i = 0; i < 20; ++i) {
    urls.push_back("http://127.0.0.1/" + std::to_string(i) + std::string(2000, '"'));
  }
  urls.push_back(client.Lab().Url("it", kLbsPath));
  const std::string host = "http://127.0.0.1:" + std::to_string(port.number());
  const auto document =
      TestDocument({"192.0.2.1:1"}, urls).Report({.host = host, .count = 1, .time = 1});
  client.Lab().SetBehaviours("it", kLbsPath, {lab::Answer(document.Text())});
  client.Start();
  client.FetchAgain();
  EXPECT_TRUE(client.log.WaitFor("[statistic]Statistic ret:false"));
}

void LeaveDuringFetch(Client& client) {
  client.Start({client.Lab().Url("it", kLbsPath), "leave"});
  client.FetchAgain();
  EXPECT_TRUE(client.Lab().journal().WaitForRequests(2, kPatience));
  client.process().Signal();
  EXPECT_EQ(client.process().Wait(), 0);
}

void FetchWithoutDescriptors(Client& client) {
  if (kSanitized) {
    GTEST_SKIP() << "the sanitizers' own checks take a descriptor now and then";
  }
  client.Start();  // loads libcurl, which takes descriptors
  const rlimit none{0, 0};
  ASSERT_EQ(prlimit(client.process().id(), RLIMIT_NOFILE, &none, nullptr), 0);
  client.FetchAgain();
}

void FetchWithoutLibcurl(Client& client) {
  NEEDS_RIGHT(EnterOwnMounts() && mount("/dev/null", CURL_PATH, nullptr, MS_BIND, nullptr) == 0,
              "hide a file");
  client.Start();
  EXPECT_EQ(umount(CURL_PATH), 0);
  EXPECT_THAT(client.log.With("[transfer]No request can be sent, error:"), testing::SizeIs(1));
}

struct Row {
  std::string_view cause;
  lab::Server server;
  void (*provoke)(Client& client) = &FailFirstFetch;

  friend void PrintTo(const Row& row, std::ostream* out) { *out << row.cause; }
};

lab::Server Serves(std::initializer_list<lab::Behaviour> in_turn) {
  return HttpServer("it").On(kLbsPath, in_turn);
}

lab::Server Does(Listening listening) {
  return HttpServer("it").Listens(listening);
}

std::vector<Row> Rows() {
  return {
      {"bad_url", Serves({lab::Redirect("file:///etc/passwd")})},
      {"name_not_resolved", HttpServer("it"),
       [](Client& client) { AskAlone(client, "http://lbs.example/"); }},
      {"refused", Does(Listening::kRefuse)},
      {"unreachable", HttpServer("it"),
       [](Client& client) { AskAlone(client, "http://192.0.2.1/"); }},
      {"connect_timeout", Does(Listening::kNeverConnect)},
      {"tls_failed", lab::HttpsServer("it").Listens(Listening::kClose)},
      {"send_failed", HttpServer("it"), &ReportToDeafServer},
      {"head_timeout", Serves({lab::Silent()})},
      {"read_timeout", Serves({lab::Answer("ab").InPieces(2, 3600000)})},
      {"reset", Serves({lab::Reset()})},
      {"cut_short", Serves({lab::Answer("abc").Truncated(1)})},
      {"too_large", Serves({lab::Endless()})},
      {"too_long", Serves({lab::Endless(500)})},
      {"too_many_redirects", Serves({lab::RedirectLoop()})},
      {"malformed", Serves({lab::Garbage()})},
      {"shut_down", Serves({lab::Answer(500), lab::Silent()}), &LeaveDuringFetch},
      {"out_of_memory", Serves({lab::Answer(500)}), &FetchWithoutDescriptors},
      {"not_available", HttpServer("it"), &FetchWithoutLibcurl},
  };
}

class Cause : public testing::TestWithParam<Row> {};

INSTANTIATE_TEST_SUITE_P(All, Cause, testing::ValuesIn(Rows()),
                         [](const auto& test) { return std::string(test.param.cause); });

TEST_P(Cause, StandsInTheLogAndIsExplained) {
  const auto& [cause, server, provoke] = GetParam();
  Client client(server);
  provoke(client);
  if (IsSkipped() || HasFailure()) {
    return;
  }
  const history::History history = history::ReadHistory(client.log.All());
  // The last request of its kind failed with the cause.
  const Kind kind = cause == "send_failed" ? Kind::kReport : Kind::kLbs;
  const auto fetch = std::find_if(history.fetches.rbegin(), history.fetches.rend(),
                                  [&](const Fetch& one) { return one.kind == kind; });
  ASSERT_NE(fetch, history.fetches.rend()) << client.log.Text();
  ASSERT_FALSE(fetch->tries.empty());
  const history::Try& one = fetch->tries.front();
  EXPECT_EQ(one.cause, cause) << client.log.Text();
  EXPECT_FALSE(one.is_unsure);
  EXPECT_FALSE(one.silent_ms) << "there is no other URL to be asked";
  // The words have its sentence.
  const std::string sentence(history::CauseWords(cause));
  EXPECT_THAT(history::TryWords(one), HasSubstr(": " + sentence + " (" + std::string(cause) + ")"));
  if (kind == Kind::kLbs) {
    EXPECT_THAT(history::WhyWords(history).Last(), HasSubstr(history::TryWords(one)));
  }
}

TEST(Causes, AreAllProvoked) {
  std::vector<std::string_view> provoked;
  for (const Row& row : Rows()) {
    provoked.push_back(row.cause);
  }
  EXPECT_THAT(provoked, testing::ElementsAreArray(KRBASE::network::kTransferCauseWords));
}

}  // namespace

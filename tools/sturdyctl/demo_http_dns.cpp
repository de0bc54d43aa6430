#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/paths.h"
#include "tools/sturdyctl/demo_scenes.h"
#include "tools/sturdyctl/demo_stage.h"

namespace sturdyctl {

namespace {

constexpr char kName[] = "localhost";  // the only name that needs no network
constexpr char kFailing[] = "127.0.0.3";
constexpr char kGood[] = "127.0.0.2";

// The link servers have addresses reserved for documentation. The demo never connects to them.
List ListByHttp() {
  return {"203.0.113.1:8001"};
}

List ListByHttps() {
  return {"203.0.113.2:8002", "203.0.113.3:8003"};
}

// A document that names the LBS servers `localhost`, where they refuse. It turns failure reports
// on, also for earlier failures that still wait.
std::string DocumentOfNames(const List& links) {
  lab::LbsReport report;
  report.host = "${url:reports}";
  report.on = true;
  report.count = 1;
  report.min_delay_s = 0;
  const std::string name = kName;
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"203.0.113.99:8099"})
      .Lbs("http://" + name + ":${port:dead}" + kLbsPath)
      .LbsBackup({"https://" + name + ":${port:dead_tls}" + kLbsPath})
      .Report(report)
      .Text();
}

lab::Scenario Servers() {
  using lab::Answer;
  using lab::HttpServer;
  using lab::HttpsServer;
  using lab::Listening;
  const lab::Behaviour failing = Answer(503);
  return {HttpServer("dead").Listens(Listening::kRefuse),
          HttpsServer("dead_tls").Listens(Listening::kRefuse),
          HttpServer("failing").At(kFailing).OnPortOf("dead").On(kLbsPath, failing),
          HttpsServer("failing_tls").At(kFailing).OnPortOf("dead_tls").On(kLbsPath, failing),
          HttpServer("good").At(kGood).OnPortOf("dead").On(
              kLbsPath, {Answer(DocumentOfNames(ListByHttp())), failing}),
          HttpsServer("good_tls")
              .At(kGood)
              .OnPortOf("dead_tls")
              .On(kLbsPath, Answer(DocumentOfNames(ListByHttps()))),
          HttpServer("dns").On(lab::kHostQueryPath,
                               Answer(lab::HostBook{{{kName, {{{kFailing, kGood}}, {}, 3600}}}})),
          HttpServer("reports").On(lab::kReportPath, Answer(200))};
}

// LBS servers that refuse at `localhost` and answer at 127.0.0.2; one method per step.
class HttpDnsScene {
 public:
  HttpDnsScene() : lab_(Servers()) {
    ClientOptions& options = stage_.options();
    options.token = "dns-key";
    options.family = "v4";  // the name may also have an IPv6 address, where nothing listens
    options.lbs_urls = {Url("http", kName, "dead"), Url("https", kName, "dead_tls")};
    options.default_v4 = "localhost:7000";
    stage_.WriteServerCache(lab_.Port("dns"));
  }

  bool Play(Story& story) {
    return story.Step("HTTP DNS", [this] { return FetchThroughHttpDns(); }) &&
           story.Step("over https", [this] { return OverHttps(); }) &&
           story.Step("report", [this] { return Report(); }) &&
           story.Step("cached names", [this] { return NamesOnDisk(); });
  }

 private:
  std::string Url(const std::string& scheme, const std::string& host,
                  const std::string& server) const {
    return scheme + "://" + host + ":" + std::to_string(lab_.Port(server)) + kLbsPath;
  }

  // Returns the LBS servers that got a request since the last call, in order of arrival. Each must
  // have got the Host header and the query of the dead URLs.
  List ServersAsked() {
    List servers;
    const std::vector<lab::Request> all = lab_.journal().RequestsFor(kLbsPath);
    for (; seen_ < all.size(); ++seen_) {
      const lab::Request& request = all[seen_];
      const std::string* host = request.Header("Host");
      Expect("the Host header that " + request.server + " got", kName,
             host == nullptr ? "none" : *host);
      Expect("the query that " + request.server + " got", "k=dns-key",
             request.query.substr(0, request.query.find('&')));
      servers.push_back(request.server);
    }
    return servers;
  }

  std::string FetchThroughHttpDns() {
    stage_.StartClient();
    const Updates::Update update = stage_.WaitForUpdate(1);
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the new list", Join(ListByHttp()), Join(update.links));
    const std::vector<lab::Request> queries = lab_.journal().RequestsFor(lab::kHostQueryPath);
    Expect("HTTP DNS is asked once", queries.size() == 1);
    Expect("the query of HTTP DNS", std::string("domain=") + kName, queries[0].query);
    Expect("the servers asked by address, in order", "failing, failing_tls, good",
           Join(ServersAsked()));
    return std::string(kName) +
           " refuses both URLs.\nHTTP DNS has two addresses for it: " + kFailing + " and " + kGood +
           ".\n" + kFailing + " answers 503.\n" + kGood +
           " answers with the list: " + Join(update.links) + ".";
  }

  std::string OverHttps() {
    stage_.client().service().Update(net::kIPFamilyV4);
    const Updates::Update update = stage_.WaitForUpdate(2);
    Expect("the code of the update", "200", std::to_string(update.code));
    Expect("the new list", Join(ListByHttps()), Join(update.links));
    Expect("the servers asked by address, in order", "failing, failing_tls, good, good_tls",
           Join(ServersAsked()));
    Expect("HTTP DNS isn't asked again",
           lab_.journal().RequestsFor(lab::kHostQueryPath).size() == 1);
    return std::string(kGood) + " now answers 503 over http and 200 over https.\n" +
           "HTTP DNS isn't asked again, since its answer is valid for an hour.";
  }

  // The first document turns reports on: for the failures after it, and for the earlier ones that
  // still waited.
  std::string Report() {
    Expect("a failure report arrives",
           lab_.journal().WaitForRequestsFor(lab::kReportPath, 1, kStepLimit));
    const lab::Request report = lab_.journal().RequestsFor(lab::kReportPath).front();
    Expect("the method of the report", "POST", report.method);
    const std::string* type = report.Header("Content-Type");
    Expect("its Content-Type", "application/json", type == nullptr ? "none" : *type);
    const std::string* sdk = report.Header("sdktype");
    Expect("its sdktype", "im", sdk == nullptr ? "none" : *sdk);
    const auto records = nlohmann::json::parse(report.body, nullptr, false);
    Expect("the report is a list", records.is_array());
    ExpectRecord(records, Url("http", kName, "dead"), 0, "127.0.0.1");
    ExpectRecord(records, Url("https", kFailing, "failing_tls"), 503, kFailing);
    return "The client reports " + std::to_string(records.size()) + " failures in one request.\n" +
           "Each has its URL, addresses, code and time.";
  }

  static void ExpectRecord(const nlohmann::json& records, const std::string& url, int error_code,
                           const std::string& address) {
    const nlohmann::json fields = {
        {"appkey", "dns-key"}, {"platform", "pc"}, {"error_code", error_code}};
    const auto found = std::find_if(records.begin(), records.end(), [&](const auto& record) {
      return record.value("request_url", "").rfind(url, 0) == 0;
    });
    Expect("a record of " + url + " in " + records.dump(), found != records.end());
    const std::string of_url = " of " + url;
    for (const auto& [key, value] : fields.items()) {
      Expect(key + of_url, value.dump(), found->value(key, nlohmann::json()).dump());
    }
    const auto addresses = found->value("host_ip", std::vector<std::string>());
    Expect("the host_ip of " + url + " with " + address + ", got " + Join(addresses),
           std::count(addresses.begin(), addresses.end(), address) == 1);
    const std::string is_number = of_url + " is a number";
    for (const char* key : {"timestamp", "send_time"}) {
      Expect(key + is_number, found->value(key, nlohmann::json()).is_number_integer());
    }
  }

  std::string NamesOnDisk() {
    lab_.StopListeningAll();
    stage_.ExitClient();
    const nlohmann::json output = stage_.RunAnother({"query-host", "--family", "v4", kName});
    const nlohmann::json& host = output.at("hosts").at(0);
    Expect("the addresses in the new process", nlohmann::json({kFailing, kGood}).dump(),
           host.at("ipv4").dump());
    return "HTTP DNS is gone, and a new process starts.\nIt still resolves " + std::string(kName) +
           " to " + kFailing + " and " + kGood + ".";
  }

  lab::Lab lab_;
  Stage stage_;
  size_t seen_ = 0;
};

}  // namespace

bool PlayHttpDns(Story& story) {
  HttpDnsScene scene;
  return scene.Play(story);
}

}  // namespace sturdyctl

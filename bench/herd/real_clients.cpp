#include "bench/herd/real_clients.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <list>
#include <stdexcept>
#include <vector>

#include "lab/child.h"
#include "lab/data_folder.h"
#include "lab/lab.h"
#include "lab/lbs_document.h"
#include "lab/server_cache.h"
#include "lab/temp_folder.h"

namespace herd {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char kPath[] = "/lbs";
constexpr char kFirstServer[] = "first";    // gives the document that the clients begin with
constexpr milliseconds kStartLimit(10000);  // of one client
// All clients are started before. Shorter than the 30 s that a transfer may take.
constexpr milliseconds kBegin(20000);
constexpr int kPieces = 40;  // of the first document, so that no client waits 2 s for one of them

int64_t MsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration_cast<milliseconds>(to - from).count();
}

std::string TextOf(const Document& document, const std::vector<ServerPlan>& servers) {
  lab::LbsDocument::List links;
  for (const uint8_t place : document.link) {
    links.push_back("${" + servers[place].name + "}");
  }
  lab::LbsDocument::List urls;
  for (const uint8_t place : document.lbs) {
    urls.push_back("${url:" + servers[place].name + "}" + kPath);
  }
  return lab::LbsDocument()
      .Link(links)
      .LinkDefault({"${" + servers[document.link_default].name + "}"})
      .Lbs(urls.front())
      .LbsBackup({urls.begin() + 1, urls.end()})
      .Report({.on = false})
      .Text();
}

// The servers as they are after the scenario's begin, and the one that the clients begin with.
lab::Scenario ForLab(const Scenario& scenario) {
  const Document& newest = scenario.documents.back();
  lab::Scenario result = {lab::HttpServer(kFirstServer)};
  for (size_t i = 0; i < scenario.servers.size(); ++i) {
    const ServerPlan& plan = scenario.servers[i];
    lab::Server& server = result.servers.emplace_back(lab::HttpServer(plan.name));
    const auto place = static_cast<uint8_t>(i);
    if (std::find(newest.lbs.begin(), newest.lbs.end(), place) != newest.lbs.end()) {
      server.On(kPath, lab::Answer(TextOf(newest, scenario.servers)))
          .Limited(static_cast<int>(plan.answers_per_s), plan.queue);
    } else {
      server.Listens(plan.states.empty() ? lab::Listening::kClose : lab::Listening::kRefuse);
    }
  }
  return result;
}

// Adds one to the bin of this time, if there is one.
void Count(std::vector<uint32_t>& bins, int64_t at_ms) {
  const int64_t bin = at_ms / kBinMs;
  if (at_ms >= 0 && bin < static_cast<int64_t>(bins.size())) {
    ++bins[static_cast<size_t>(bin)];
  }
}

// A run: the lab, the clients, and the time at which these have lost their servers.
class RealRun {
 public:
  RealRun(const Scenario& scenario, const std::string& program)
      : scenario_(scenario), lab_begin_(Clock::now()), lab_(ForLab(scenario)) {
    StartClients(program);
  }

  Counts Play() {
    const size_t bins = static_cast<size_t>(scenario_.seconds) * (1000 / kBinMs);
    Counts counts;
    counts.answers.resize(scenario_.servers.size());
    counts.connected.resize(scenario_.servers.size());
    counts.got.resize(bins);
    counts.wanted = scenario_.clients;
    CountConnected(counts.got);
    counts.arrivals.assign(scenario_.servers.size(), std::vector<uint32_t>(bins));
    const int64_t begin_ms = MsBetween(lab_begin_, begin_);
    for (size_t i = 0; i < scenario_.servers.size(); ++i) {
      for (const lab::Request& request : lab_.journal().RequestsOf(scenario_.servers[i].name)) {
        Count(counts.arrivals[i], request.at_ms - begin_ms);
      }
    }
    return counts;
  }

 private:
  // Each asks for its first document, whose last piece comes to all of them at the begin.
  void StartClients(const std::string& program) {
    const std::string document = TextOf(scenario_.documents.front(), scenario_.servers);
    for (uint32_t i = 0; i < scenario_.clients; ++i) {
      const auto until_begin = static_cast<int>(MsBetween(Clock::now(), begin_));
      if (until_begin < 0) {
        throw std::runtime_error("the machine is too busy to start all clients in time");
      }
      lab_.SetBehaviours(kFirstServer, kPath,
                         {lab::Answer(document).InPieces(kPieces, until_begin)});
      const std::string folder = folder_.File(std::to_string(i));
      std::filesystem::create_directory(folder);
      lab::WriteServerCache(lab::DataFolder(folder));  // so that it asks no HTTP DNS
      // The client ends with this program, however that ends.
      clients_.emplace_back(std::vector<std::string>{"/usr/bin/setpriv", "--pdeathsig", "KILL",
                                                     program, lab_.Url(kFirstServer, kPath),
                                                     folder});
      if (!lab_.journal().WaitForRequests(i + 1, kStartLimit)) {
        throw std::runtime_error("a client has not asked for its first document");
      }
    }
  }

  void CountConnected(std::vector<uint32_t>& bins) const {
    const Clock::time_point end = begin_ + std::chrono::seconds(scenario_.seconds);
    const std::string& server = scenario_.servers[scenario_.documents.back().link.front()].name;
    for (uint32_t i = 1; i <= scenario_.clients; ++i) {
      const auto left = std::max(milliseconds(0), milliseconds(MsBetween(Clock::now(), end)));
      if (!lab_.journal().WaitForAccepted(server, static_cast<int>(i), left)) {
        return;
      }
      Count(bins, MsBetween(begin_, Clock::now()));
    }
  }

  const Scenario& scenario_;
  const Clock::time_point lab_begin_;
  const Clock::time_point begin_ = lab_begin_ + kBegin;
  const lab::TempFolder folder_;
  lab::Lab lab_;
  std::list<lab::Child> clients_;
};

}  // namespace

Counts PlayWithRealClients(const Scenario& scenario, const std::string& program) {
  return RealRun(scenario, program).Play();
}

}  // namespace herd

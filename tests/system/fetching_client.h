#pragma once

#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "lab/lab.h"
#include "tests/environment/client.h"

// Adds the LBS service of the environment, with its URLs on the servers of a lab, and the first
// update callback as a future.
class FetchingClientTest : public EnvironmentTest {
 protected:
  using Update = std::pair<int, std::string>;  // code and document

  static constexpr char kPath[] = "/lbs/conf.jsp";
  static constexpr std::chrono::seconds kLimit{60};

  // `servers` in the order of trial.
  zo_sturdy::IZOSturdyLBSService& Fetch(const lab::Lab& lab,
                                        const std::vector<std::string>& servers) {
    FirstUpdate() = std::promise<Update>();
    update_ = FirstUpdate().get_future();
    auto record = LBSRecord(lab.Url(servers[0], kPath), "127.0.0.1:9");
    for (size_t i = 1; i < servers.size(); ++i) {
      Fill(record.lbs_backup_urls[i - 1], lab.Url(servers[i], kPath));
    }
    auto& service = *Start("token").GetLBSService();
    service.SetUpdateCallback([](int code, const char* document) {
      FirstUpdate().set_value({code, document});
    });
    service.Start(record);
    return service;
  }

  Update AwaitUpdate() {
    if (update_.wait_for(kLimit) != std::future_status::ready) {
      ADD_FAILURE() << "no update callback";
      return {};
    }
    return update_.get();
  }

  static std::string Document(zo_sturdy::IZOSturdyLBSService& service, bool no_wait = true) {
    std::string out(zo_sturdy::kLBSResponseBufferSize, '\0');
    service.GetLBSResponse(no_wait, out.data());
    return out.c_str();
  }

 private:
  static std::promise<Update>& FirstUpdate() {
    static auto* const update = new std::promise<Update>;
    return *update;
  }

  std::future<Update> update_;
};

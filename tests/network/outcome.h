#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "lab/lab.h"
#include "lab/tls/tls_server.h"
#include "network/transfer_cause.h"
#include "network/win_http.h"

namespace KRBASE::network {

// Error, status, body and the word of the cause.
using Outcome = std::tuple<int32_t, int32_t, std::string, std::string_view>;

// The default of 100 ms to receive is too little on a loaded machine.
struct PatientHttp : CWinHttp {
  PatientHttp() { CWinHttp::SetTimeOut(5000, 5000, 5000); }
};

inline Outcome Get(const std::string& url) {
  PatientHttp http;
  const std::string body = http.Request(url, 0, "", "");
  EXPECT_EQ(http.GetBodySize(), static_cast<int32_t>(body.size()));
  return {http.GetErrorCode(), http.GetStatusCode(), body,
          http.GetFailure() ? WordOf(http.GetFailure()->cause) : ""};
}

// Gets this answer over http, and over https if the lab has TLS.
inline void ExpectOutcome(const lab::Behaviour& behaviour, const Outcome& expected) {
  std::vector<lab::Server> servers = {lab::HttpServer("http").On("/", behaviour)};
  if (lab::CanServeHttps()) {
    servers.push_back(lab::HttpsServer("https").On("/", behaviour));
  }
  lab::Scenario scenario;
  scenario.servers = servers;
  const lab::Lab lab(scenario);
  for (const lab::Server& server : servers) {
    EXPECT_EQ(Get(lab.Url(server.name, "/")), expected) << server.name;
    EXPECT_EQ(lab.journal().RequestsOf(server.name).size(), 1U);  // no retry
  }
}

}  // namespace KRBASE::network

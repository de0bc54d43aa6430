#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "network/platform/http_url.h"
#include "network/platform/transfer_plan.h"
#include "network/transfer_cause.h"

// Redirects, which each room follows hop by hop.
// Threads: any, all functions are pure.
// Errors:  std::bad_alloc is the only exception.
namespace KRBASE::network::platform {

// What an answer's head leads to.
struct NextHop {
  bool is_final = true;  // the answer is the one for the caller
  // Otherwise where it redirects to, or the reason for which it can't be followed.
  std::optional<HttpUrl> target = {};
  TransferCause refusal = {};
};

// Judges the answer to a request for `url` that has followed `redirects` before. An answer that
// redirects from https to http, or without a Location, is final.
NextHop NextHopOf(const HttpUrl& url, int32_t status, std::string_view head, int redirects);

// Turns the plan of a hop into that of the next one.
void Follow(HttpUrl target, int32_t status, TransferPlan& plan);

// Resolves a Location header against `base`. Takes any length. Refuses what else CrackUrl
// refuses, a host with blanks, and one after no slash or after more than three.
std::optional<HttpUrl> ResolveLocation(const HttpUrl& base, std::string_view location);

}  // namespace KRBASE::network::platform

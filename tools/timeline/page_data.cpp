#include "tools/timeline/page_data.h"

#include <array>

#include "tools/history/try_words.h"

namespace timeline {

namespace {

using Json = nlohmann::ordered_json;

template <class Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

const char* TextOf(history::Ask::Fate fate) {
  constexpr std::array kTexts = {"unknown", "fetched", "under_way", "too_soon", "no_url"};
  return kTexts.at(static_cast<size_t>(fate));
}

Json ToJson(const history::Run& run) {
  return {{"process", run.process_id},   {"begin", OrNull(run.begin_ms)},
          {"exit", OrNull(run.exit_ms)}, {"last", run.last_ms},
          {"settings", run.settings},    {"service", run.service_settings}};
}

Json ToJson(const history::Try& one) {
  return {{"index", one.index},
          {"pass", one.pass},
          {"url", history::ShortUrl(one.url)},
          {"host", one.host},
          {"begin", one.begin_ms},
          {"silent", OrNull(one.silent_ms)},
          {"end", OrNull(one.end_ms)},
          {"outcome", history::TextOf(one.outcome)},
          {"status", one.status},
          {"cause", one.cause},
          {"words", history::TryWords(one)},
          {"startedBecause", history::TextOf(one.started_because)},
          {"startedBy", OrNull(one.started_by)},
          {"unsure", one.is_unsure},
          {"messages", one.messages}};
}

Json ToJson(const history::Fetch& fetch) {
  Json json = {{"kind", history::TextOf(fetch.kind)},
               {"because", history::ReasonWords(fetch.asked_because)},
               {"run", fetch.run},
               {"begin", fetch.begin_ms},
               {"outcome", history::TextOf(fetch.outcome)},
               {"taken", OrNull(fetch.taken)},
               {"messages", fetch.messages},
               {"tries", Json::array()}};
  for (const history::Try& one : fetch.tries) {
    json["tries"].push_back(ToJson(one));
  }
  return json;
}

Json ToJson(const history::Ask& ask) {
  return {{"at", ask.at_ms},
          {"because", history::TextOf(ask.because)},
          {"words", history::ReasonWords(ask.because)},
          {"number", OrNull(ask.number)},
          {"fate", TextOf(ask.fate)},
          {"fetch", OrNull(ask.fetch)},
          {"message", ask.message}};
}

Json ToJson(const history::Document& document) {
  return {{"at", document.at_ms},
          {"run", document.run},
          {"from", history::TextOf(document.from)},
          {"fetch", OrNull(document.fetch)},
          {"age", OrNull(document.cache_age_ms)},
          {"refusal",
           document.cache_refusal.empty() ? "" : history::RefusalWords(document.cache_refusal)},
          {"links", document.links},
          {"defaults", document.defaults},
          {"message", document.message}};
}

Json ToJson(const history::Answer& answer) {
  return {{"at", answer.at_ms},
          {"address", answer.host + ":" + std::to_string(answer.port)},
          {"default", answer.is_default},
          {"document", OrNull(answer.document)},
          {"message", answer.message}};
}

Json ToJson(const history::Hold& hold) {
  return {{"at", hold.at_ms},
          {"address", hold.address},
          {"found", hold.is_found},
          {"words", history::HoldWords(hold)},
          {"message", hold.message}};
}

Json ToJson(const history::Lease& lease) {
  return {{"at", lease.at_ms},
          {"run", lease.run},
          {"host", lease.host},
          {"ttl", lease.ttl_ms},
          {"addresses", lease.addresses},
          {"message", lease.message}};
}

Json ToJson(const history::HostLook& look) {
  constexpr std::array kStates = {"", "fresh", "stale", "missing"};
  return {{"at", look.at_ms},
          {"host", look.host},
          {"state", kStates.at(static_cast<size_t>(look.state))},
          {"addresses", look.addresses},
          {"message", look.message}};
}

template <class List>
Json ListOf(const List& list) {
  Json json = Json::array();
  for (const auto& one : list) {
    json.push_back(ToJson(one));
  }
  return json;
}

}  // namespace

Json PageData(const history::History& history) {
  Json json = {{"runs", ListOf(history.runs)},       {"asks", ListOf(history.asks)},
               {"fetches", ListOf(history.fetches)}, {"documents", ListOf(history.documents)},
               {"answers", ListOf(history.answers)}, {"holds", ListOf(history.holds)},
               {"leases", ListOf(history.leases)},   {"looks", ListOf(history.host_looks)},
               {"messages", Json::array()}};
  for (const log_reader::LogMessage& message : history.messages) {
    json["messages"].push_back(message.bytes);
  }
  return json;
}

}  // namespace timeline

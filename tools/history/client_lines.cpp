#include "tools/history/client_lines.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace history {

namespace {

std::vector<std::string> Texts(const nlohmann::json& common, const char* key) {
  std::vector<std::string> texts;
  if (common.contains(key) && common[key].is_array()) {
    for (const auto& element : common[key]) {
      if (element.is_string()) {
        texts.push_back(element.get<std::string>());
      }
    }
  }
  return texts;
}

// Returns host and port of "H:P", also of an IPv6 address in brackets.
std::pair<std::string, int> Split(std::string_view address) {
  const size_t colon = address.rfind(':');
  if (colon == std::string_view::npos || address.ends_with(']')) {
    return {std::string(address), 0};
  }
  return {std::string(address.substr(0, colon)),
          LeadingNumber<int>(address.substr(colon + 1)).value_or(0)};
}

}  // namespace

void ClientLines::Take(const Line& line) {
  if (line.text.starts_with("[environment] ")) {
    TakeCall(line);
  } else if (line.text.starts_with("[lbs]")) {
    OfThread& thread = threads_[ThreadOf(line)];
    if (!TakeDocument(line, thread) && !TakeAnswer(line, thread)) {
      TakeCall(line);
    }
  }
}

bool ClientLines::TakeDocument(const Line& line, OfThread& thread) {
  std::string_view rest = line.text;
  Document& document = thread.document;
  if (Skip(rest, "[lbs] First document from cache fetched:")) {
    document = Document();
    document.from = Document::From::kCache;
    document.cache_age_ms = LeadingNumber(rest);
  } else if (Skip(rest, "[lbs] First document from settings cache:")) {
    document = Document();
    document.from = Document::From::kSettings;
    document.cache_refusal = rest;
  } else if (rest == "[lbs] Update LBS success = true") {
    document = Document();
    document.from = Document::From::kFetch;
    document.fetch = requests_.JudgedBy(ThreadOf(line));
  } else if (rest.starts_with("[lbs]ParseLBSResponse rsp:")) {
    document.text = FramedText(rest);
    document.message = line.message;
  } else if (rest.starts_with("[lbs]ParseLBSResponse parsel result = false")) {
    document = Document();
  } else if (rest.starts_with("[lbs]ParseLBSResponse parsel result = true")) {
    document.at_ms = line.at_ms;
    document.run = line.run;
    document.message = document.text.empty() ? line.message : document.message;
    const auto json = nlohmann::json::parse(document.text, nullptr, false);
    if (json.is_object() && json.contains("common") && json["common"].is_object()) {
      document.links = Texts(json["common"], "link");
      document.defaults = Texts(json["common"], "link.default");
    }
    active_[line.run] = history_.documents.size();
    history_.documents.push_back(std::exchange(document, Document()));
  } else {
    return false;
  }
  return true;
}

bool ClientLines::TakeAnswer(const Line& line, OfThread& thread) {
  std::string_view rest = line.text;
  const auto before = std::exchange(thread.answer, std::nullopt);
  if (Skip(rest, "[lbs] Get link address addr_family = ")) {
    thread.family = LeadingNumber<int>(rest).value_or(0);
    return true;
  }
  // The next line has host and port apart: "[lbs] Addr may be ipv4 H:P".
  if (Skip(rest, "[lbs] Addr may be ")) {
    const size_t kind_end = rest.find(' ');
    if (before && kind_end != std::string_view::npos) {
      Answer& answer = history_.answers[*before];
      std::tie(answer.host, answer.port) = Split(rest.substr(kind_end + 1));
    }
    return true;
  }
  constexpr std::string_view kDefault = " use default:";
  const size_t address_end = rest.rfind(kDefault);
  if (!Skip(rest, "[lbs] Get link address ") || address_end == std::string_view::npos) {
    return false;
  }
  Answer answer;
  answer.at_ms = line.at_ms;
  answer.run = line.run;
  answer.thread_id = line.thread_id;
  answer.family = thread.family;
  answer.is_default = line.text.substr(address_end + kDefault.size()) == "true";
  std::tie(answer.host, answer.port) =
      Split(line.text.substr(0, address_end).substr(line.text.size() - rest.size()));
  if (const auto active = active_.find(line.run); active != active_.end()) {
    answer.document = active->second;
  }
  answer.message = line.message;
  thread.answer = history_.answers.size();
  history_.answers.push_back(std::move(answer));
  return true;
}

void ClientLines::TakeCall(const Line& line) {
  std::string_view rest = line.text;
  const auto change = [&](Change::What what, std::string_view value) {
    history_.changes.push_back({line.at_ms, line.run, what, std::string(value), line.message});
  };
  if (Skip(rest, "[environment] Start version")) {
    history_.runs[line.run].settings = line.text.substr(sizeof "[environment] Start");
  } else if (Skip(rest, "[lbs] Start ")) {
    history_.runs[line.run].service_settings = rest;
  } else if (Skip(rest, "[environment] Token changed key:")) {
    change(Change::What::kToken, rest);
  } else if (Skip(rest, "[environment] Network changed family:")) {
    change(Change::What::kNetwork, rest);
  } else if (Skip(rest, "[lbs] Hold link address ")) {
    const size_t end = rest.rfind(" found:");
    if (end != std::string_view::npos) {
      history_.holds.push_back({line.at_ms, line.run, std::string(rest.substr(0, end)),
                                rest.ends_with("true"), line.message});
    }
  }
}

}  // namespace history

#include "tools/history/client_lines.h"

#include <utility>

#include "src/business/sturdy_lbs/lbs_document.h"

namespace history {

namespace {

// Returns host and port of "H:P", also of an IPv6 address in brackets.
std::pair<std::string, int> Split(std::string_view address) {
  const size_t colon = address.rfind(':');
  if (colon == std::string_view::npos || address.ends_with(']')) {
    return {std::string(address), 0};
  }
  return {std::string(address.substr(0, colon)),
          LeadingNumber<int>(address.substr(colon + 1)).value_or(0)};
}

Hold MakeHold(const Line& line, std::string_view address, bool is_found) {
  constexpr int kPorts = 65536;
  Hold hold;
  hold.at_ms = line.at_ms;
  hold.run = line.run;
  hold.address = address;
  hold.is_found = is_found;
  hold.message = line.message;
  // The call takes the port in 16 signed bits.
  if (const auto [host, port] = Split(address); port < 0) {
    hold.has_high_port = true;
    hold.address = host + ":" + std::to_string(port + kPorts);
  }
  return hold;
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
    // Read it as the client does, which skips what it can't use.
    if (auto read = zo_sturdy::ReadLBSDocument(document.text)) {
      document.links = std::move(read->link).value_or(std::vector<std::string>());
      document.defaults = std::move(read->link_default).value_or(std::vector<std::string>());
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
  if (!Skip(rest, "[lbs] Get link address ")) {
    return false;
  }
  const size_t address_end = rest.rfind(kDefault);
  if (address_end == std::string_view::npos) {
    return false;
  }
  Answer answer;
  answer.at_ms = line.at_ms;
  answer.run = line.run;
  answer.thread_id = line.thread_id;
  answer.family = thread.family;
  answer.is_default = rest.substr(address_end + kDefault.size()) == "true";
  std::tie(answer.host, answer.port) = Split(rest.substr(0, address_end));
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
  if (const auto settings = After(rest, "[environment] Start ");
      settings && settings->starts_with("version:")) {
    history_.runs[line.run].settings = *settings;
  } else if (Skip(rest, "[lbs] Start ")) {
    history_.runs[line.run].service_settings = rest;
  } else if (Skip(rest, "[environment] Token changed key:")) {
    change(Change::What::kToken, rest);
  } else if (Skip(rest, "[environment] Network changed family:")) {
    change(Change::What::kNetwork, rest);
  } else if (Skip(rest, "[lbs] Hold link address ")) {
    const size_t end = rest.rfind(" found:");
    if (end != std::string_view::npos) {
      history_.holds.push_back(MakeHold(line, rest.substr(0, end), rest.ends_with("true")));
    }
  }
}

}  // namespace history

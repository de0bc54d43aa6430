#include "tools/history/step_lines.h"

namespace history {

namespace {

constexpr std::string_view kAnswer = "[multiple][rsp]Index:";
constexpr std::string_view kSilence = "[multiple][time out]Sub url request time out index:";
constexpr std::string_view kTimerStart = "[multiple]Start timer index:";

std::optional<bool> Flag(std::string_view text) {
  if (text.starts_with("true")) {
    return true;
  }
  return text.starts_with("false") ? std::optional(false) : std::nullopt;
}

}  // namespace

bool StepLines::IsAnswer(std::string_view text) {
  return text.starts_with(kAnswer);
}

bool StepLines::IsSilence(std::string_view text) {
  return text.starts_with(kSilence);
}

StepLines::StepLines(const std::vector<Line>& lines, size_t first) {
  std::string_view text = lines[first].text;
  is_silence = IsSilence(text);
  text.remove_prefix(is_silence ? kSilence.size() : kAnswer.size());
  index = LeadingNumber<int>(text).value_or(-1);
  code = static_cast<int>(NumberAfter(text, " code :").value_or(0));
  messages.push_back(lines[first].message);
  for (auto place = lines[first].next; place; place = lines[*place].next) {
    const Line& line = lines[*place];
    if (!Read(line)) {
      return;
    }
    messages.push_back(line.message);
    if (is_last || is_good.value_or(false) || line.text.starts_with(kTimerStart)) {
      return;
    }
  }
}

bool StepLines::Read(const Line& line) {
  std::string_view rest = line.text;
  if (IsAnswer(rest) || IsSilence(rest)) {
    return false;
  }
  if (!Skip(rest, is_silence ? "[multiple][time out]" : "[multiple][rsp]")) {
    if (Skip(rest, "[multiple]Send sub url request:")) {
      next = &line;
      next_url = rest;
      return true;
    }
    return rest.starts_with(kTimerStart) || ReadJudgement(rest);
  }
  if (Skip(rest, "All url requested :")) {
    is_all_requested = Flag(rest);
  } else if (Skip(rest, "Business check response ")) {
    is_good = Flag(rest);
  } else if (Skip(rest, "Has waitting request ")) {
    has_waiting = Flag(rest);
  } else if (Skip(rest, "Switch to index :")) {
    next_index = LeadingNumber<int>(rest);
  } else if (rest.starts_with("Stop timer index :")) {
    had_timer = true;
  } else if (rest == "All sub url has been requested") {
    is_last = true;
  }
  return true;
}

bool StepLines::ReadJudgement(std::string_view text) {
  if (text.starts_with("[lbs] Check response")) {
    kind = Kind::kLbs;
    is_judged = is_judged || text.starts_with("[lbs] Check response index:");
  } else if (text.starts_with("[http dns] Check response")) {
    kind = Kind::kService;
  } else if (text.starts_with("[statistic]Statistic check code:")) {
    kind = Kind::kReport;
  } else if (text.starts_with("[http dns] Query hosts`s ip response")) {
    kind = Kind::kHosts;
  } else {
    return false;
  }
  return true;
}

}  // namespace history

#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "tools/history/line.h"

namespace history {

// The lines that one step of a request leaves: an answer that is judged, or the silence of a URL.
// A step runs on one thread without a pause, so its lines follow each other there.
struct StepLines {
  // Gathers the lines from `first`, whose text begins with one of the two texts below, up to the
  // next step of the thread.
  StepLines(const std::vector<Line>& lines, size_t first);

  static bool IsAnswer(std::string_view text);
  static bool IsSilence(std::string_view text);

  bool is_silence = false;
  int index = 0;
  int code = 0;
  // What the lines say about the request; nothing if they are missing.
  std::optional<Kind> kind;              // the service that judged
  std::optional<bool> is_all_requested;  // no URL is left
  std::optional<bool> is_good;
  std::optional<bool> has_waiting;  // a later URL is asked already
  std::optional<int> next_index;
  const Line* next = nullptr;  // sends the next URL
  std::string_view next_url;
  bool had_timer = false;  // the URL had not been silent for long
  bool is_judged = false;  // by the LBS service, as an answer to the newest fetch
  bool is_last = false;    // all URLs have failed
  std::vector<size_t> messages;

  // Returns whether the LBS service has ignored the answer, since the token has changed or a forced
  // fetch has begun. It ends the request then, but judges nothing. The tokens themselves aren't
  // compared: a redacted log lacks them.
  [[nodiscard]] bool IsOutdated() const {
    return kind == Kind::kLbs && is_good.value_or(false) && !is_judged;
  }

 private:
  // Returns false if the line isn't one of a step.
  bool Read(const Line& line);
  bool ReadJudgement(std::string_view text);
};

}  // namespace history

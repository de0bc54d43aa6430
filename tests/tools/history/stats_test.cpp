#include "tools/history/stats.h"

#include <gtest/gtest.h>

namespace history {
namespace {

TEST(Stats, CountsFetchesTriesAndAnswers) {
  Try refused;
  refused.url = "http://a/lbs?k=1";
  refused.outcome = TryOutcome::kFailed;
  refused.cause = "refused";
  Try won;
  won.url = "http://b/lbs";
  won.pass = 2;
  won.outcome = TryOutcome::kTaken;
  Try old = refused;  // of an older log
  old.cause = "";
  Fetch good;
  good.asked_because = AskedBecause::kToken;
  good.outcome = FetchOutcome::kTaken;
  good.tries = {refused, won};
  Fetch report;
  report.kind = Kind::kReport;
  report.tries = {old};
  Document cached;
  cached.from = Document::From::kCache;
  cached.cache_age_ms = 7;
  Document lost;
  lost.from = Document::From::kSettings;
  lost.cache_refusal = "damaged";
  Answer spare;
  spare.is_default = true;

  History history;
  history.runs.resize(2);
  history.runs[1].begin_ms = 5;
  history.fetches = {good, report};
  history.documents = {cached, lost, Document()};
  history.answers = {spare, Answer()};
  EXPECT_EQ(ToJson(MakeStats(history)).dump(),
            R"({"starts":1,"fetches":{"by_reason":{"token":1},"by_outcome":{"taken":1}},)"
            R"("tries_per_fetch":{"2":1},"urls":[{"url":"http://a/lbs","tries":1,"wins":0},)"
            R"({"url":"http://b/lbs","tries":1,"wins":1}],"causes":{"refused":1,"unknown":1},)"
            R"("second_passes":1,"answers":2,"defaults":1,"caches":[{"age_ms":7,"refusal":""},)"
            R"({"age_ms":null,"refusal":"damaged"}]})");
}

}  // namespace
}  // namespace history

// Each function and operation of the interface in each moment of the service: inside the update
// callback, and on a second thread while the service starts, fetches, is released and exits. The
// sanitizers watch.
#include <atomic>
#include <functional>
#include <thread>

#include "lab/lab.h"
#include "tests/support/client.h"

namespace zo_sturdy {
namespace {

enum class Moment { kStart, kFetch, kRelease, kExit };

// What a call needs: a client makes none on a pointer that may be invalid.
enum class Needs { kNothing, kObject, kService };

using Object = IZOSturdyObject;
using Service = IZOSturdyLBSService;

struct Call {
  Needs needs;
  std::function<void(Object&, Service&, char* out)> make;
};

const _ZOSturdyLBSSettings& TheRecord(const std::string& url = "") {
  static const _ZOSturdyLBSSettings record = LBSRecord(url, "localhost:9");
  return record;
}

const std::vector<Call> kCalls = {
    {Needs::kNothing,
     [](Object&, Service&, char*) { StartSturdyEnvironment(EnvironmentSettings("/dev/null")); }},
    {Needs::kNothing, [](Object&, Service&, char*) { GetSturdyObject(1); }},
    {Needs::kNothing, [](Object&, Service&, char*) { ExitSturdyEnvironment(1); }},
    {Needs::kObject, [](Object& o, Service&, char*) { o.NotifyNetworkChanged(net::kIPFamilyV6); }},
    {Needs::kObject, [](Object& o, Service&, char*) { o.GetLBSService(); }},
    {Needs::kObject, [](Object& o, Service&, char*) { o.ReleaseLBSService(); }},
    {Needs::kObject, [](Object& o, Service&, char* out) { o.QueryHost("127.0.0.1", 0, out); }},
    {Needs::kObject, [](Object& o, Service&, char* out) { o.QueryHost("a.test", 0, out); }},
    {Needs::kObject, [](Object& o, Service&, char*) { o.SetBusinessToken("another"); }},
    {Needs::kService, [](Object&, Service& s, char*) { s.Start(TheRecord()); }},
    {Needs::kService, [](Object&, Service& s, char*) { s.Update(net::kIPFamilyAny); }},
    {Needs::kService, [](Object&, Service& s, char*) { s.SetUpdateCallback(nullptr); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetLBSResponse(true, out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetLBSResponse(false, out); }},
    {Needs::kService, [](Object&, Service& s, char*) { Link(s); }},
    {Needs::kService, [](Object&, Service& s, char*) { Peek(s); }},
    {Needs::kService, [](Object&, Service& s, char*) { s.HoldLinkAddress("one.example", 1); }},
    {Needs::kService, [](Object&, Service& s, char*) { s.GetLinkHostCount(); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetVltDL(out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetVltDLList(out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetVltList(out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetName(out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetDesc(out); }},
    {Needs::kService, [](Object&, Service& s, char* out) { s.GetMsgStatInfo(out); }}};

class EveryCall : public ClientTest {
 protected:
  void Play(Moment moment, const Call& call, bool ends_service) {
    Object& object = Start("token");
    Service& service = *object.GetLBSService();
    go_ = in_callback_ = false;
    on_update_ = [&, out = std::string(kQueryHostBufferSize, '\0')]() mutable {
      in_callback_ = true;
      EXPECT_TRUE(WaitUntil([] { return go_.load(); }));
      call.make(object, service, out.data());
    };
    service.SetUpdateCallback([](int, const char*) { on_update_(); });
    const bool at_start = moment == Moment::kStart;
    if (!at_start) {
      EXPECT_TRUE(service.Start(TheRecord()));
      EXPECT_TRUE(WaitUntil([] { return in_callback_.load(); }));
    }
    // The second thread makes the call at the moment, unless the client must not.
    const bool may = (moment != Moment::kExit || call.needs == Needs::kNothing) &&
                     (moment != Moment::kRelease || call.needs != Needs::kService) &&
                     !(at_start && ends_service);
    std::thread second([&, out = std::string(kQueryHostBufferSize, '\0')]() mutable {
      EXPECT_TRUE(WaitUntil([] { return go_.load(); }));
      if (may) {
        call.make(object, service, out.data());
      }
    });
    go_ = true;
    if (at_start) {
      EXPECT_TRUE(service.Start(TheRecord()));
    } else if (moment == Moment::kRelease && !(may && call.needs == Needs::kNothing)) {
      object.ReleaseLBSService();
    } else if (moment == Moment::kExit) {
      ExitSturdyEnvironment(1);
    }
    second.join();
    ExitSturdyEnvironment(1);
  }

  // The client's callback is a plain function.
  static inline std::atomic<bool> go_{false};
  static inline std::atomic<bool> in_callback_{false};
  static inline std::function<void()> on_update_;
};

TEST_F(EveryCall, InEveryMoment) {
  const lab::Lab lab({lab::HttpServer("lbs").On(kLbsPath, lab::Answer(TestDocument().Text()))});
  TheRecord(lab.Url("lbs", kLbsPath));
  int number = 0;
  for (const Moment moment : {Moment::kStart, Moment::kFetch, Moment::kRelease, Moment::kExit}) {
    for (const Call& call : kCalls) {
      SCOPED_TRACE(std::to_string(number++));
      const bool ends_service = &call == &kCalls[2] || &call == &kCalls[5];
      Play(moment, call, ends_service);
    }
  }
  EXPECT_EQ(number, 96);
}

}  // namespace
}  // namespace zo_sturdy

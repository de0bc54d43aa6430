// A client whose n-th allocation fails, and with "onward" the next ones too.
//   memory_host FOLDER URL once|onward FIRST STEP
// Plays the same course with n = FIRST, FIRST + STEP, ... until n is beyond the last allocation:
// start, every getter, a host from the cache, a new token, another network, a fetch that fails over
// and is reported, exit. Prints
// each n before its course, what was wrong in it, and at last "ended" and the number of courses.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <string>

#include "base/platform/thread.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "src/sturdy/http_agent/logic/live_requests.h"
#include "tests/faults/allocation_faults.h"
#include "tests/support/client_calls.h"
#include "tests/support/wait_until.h"

namespace {

// The limit of a course, a hang included. The alarm ends the process.
constexpr unsigned kCourseSeconds = 40;

// The number of allocations varies, so that many courses in a row must have too few for an end.
constexpr int kCoursesBeyond = 10;

// How many allocations fail with "onward": every call of a course fails then, some often. An answer
// of a server waits until there is memory for it.
constexpr int64_t kFamine = 100;

char out[zo_sturdy::kQueryHostBufferSize];
std::atomic<int> last_code{-1};
bool onward = false;
int64_t first = 0;  // the allocation that fails, n

void Expect(bool holds, const char* what) {
  if (!holds) {
    std::printf("wrong: %s\n", what);
  }
}

// Runs a call that may find no memory. Returns whether it has.
template <class Call>
bool Try(const Call& call) {
  allocation_faults::Run();
  bool done = true;
  try {
    call();
  } catch (const std::bad_alloc&) {
    done = false;
  }
  allocation_faults::Pause();
  return done;
}

void CallGetters(zo_sturdy::IZOSturdyLBSService& service) {
  using Service = zo_sturdy::IZOSturdyLBSService;
  uint16_t port = 0;
  net::AddressFamily family = net::kIPFamilyAny;
  Try([&] { service.GetLinkAddress(out, &port, &family); });
  Try([&] { service.PeekLinkAddress(out, &port, &family); });
  Try([&] { service.HoldLinkAddress("one.example", 1); });
  for (const auto getter : {&Service::GetVltDL, &Service::GetVltDLList, &Service::GetVltList,
                            &Service::GetName, &Service::GetDesc, &Service::GetMsgStatInfo}) {
    Try([&] { (service.*getter)(out); });
  }
  Try([&] { zo_sturdy::GetSturdyObject(1)->QueryHost("cached.test", 0, out); });
}

// Waits until nothing is under way: while allocations fail, unless all do, and then with memory.
void AwaitEnd(zo_sturdy::IZOSturdyLBSService& service) {
  const auto& impl = static_cast<zo_sturdy::ZOSturdyLBSServiceImpl&>(service);
  const auto ended = [&] {
    return !impl.IsUpdatingForTest() && zo_sturdy::LiveRequests::Instance().CountForTest() == 0;
  };
  allocation_faults::Run();
  Expect(WaitUntil([&] { return ended() || (onward && allocation_faults::Count() > first + 20); }),
         "a fetch ends");
  allocation_faults::Pause();
  Expect(WaitUntil(ended), "nothing stays under way");
}

void PlayStarted(const zo_sturdy::_ZOSturdyLBSSettings& record) {
  zo_sturdy::IZOSturdyObject& object = *zo_sturdy::GetSturdyObject(1);
  zo_sturdy::IZOSturdyLBSService* service = nullptr;
  if (!Try([&] { service = object.GetLBSService(); })) {
    service = object.GetLBSService();
  }
  service->SetUpdateCallback([](int code, const char*) { last_code = code; });
  if (!Try([&] { service->Start(record); })) {
    Expect(service->GetLinkHostCount() == 0, "a start that throws leaves nothing");
    Expect(service->Start(record), "the next start works");
  }
  CallGetters(*service);
  Try([&] { object.SetBusinessToken("a new token that needs memory"); });
  Try([&] { object.NotifyNetworkChanged(net::kIPFamilyV4); });
  AwaitEnd(*service);
  // With memory, all works again.
  last_code = -1;
  service->Update(net::kIPFamilyAny);
  Expect(WaitUntil([] { return last_code == 200; }), "the next fetch works");
  Expect(Link(*service) == "one.example:1", "the link is the document's");
}

void Play(const zo_sturdy::_ZOSturdyEnvironmentSettings& settings,
          const zo_sturdy::_ZOSturdyLBSSettings& record) {
  if (Try([&] { zo_sturdy::StartSturdyEnvironment(settings); })) {
    PlayStarted(record);
  } else {
    Expect(zo_sturdy::GetSturdyObject(1) == nullptr && zo_base::LiveLibraryThreads() == 0,
           "an environment's start that throws leaves nothing");
  }
  if (!Try([] { zo_sturdy::ExitSturdyEnvironment(1); })) {
    Expect(false, "an exit throws");
    zo_sturdy::ExitSturdyEnvironment(1);
  }
  Expect(zo_base::LiveLibraryThreads() == 0, "no thread stays");
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 6) {
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const auto settings = EnvironmentSettings(arguments[1], "token");
  auto record = LBSRecord("http://127.0.0.1:1/refused", "127.0.0.1:9");
  Fill(record.lbs_backup_urls[0], arguments[2]);
  onward = arguments[3] == std::string("onward");
  const int64_t step = std::stoll(arguments[5]);
  first = std::stoll(arguments[4]);
  int64_t courses = 0;
  for (int missed = 0; missed < kCoursesBeyond; first += step, ++courses) {
    alarm(kCourseSeconds);
    std::printf("n = %lld\n", static_cast<long long>(first));
    allocation_faults::Set(first, onward ? kFamine : 1);
    Play(settings, record);
    missed = allocation_faults::Count() >= first ? 0 : missed + 1;
  }
  std::printf("ended %lld\n", static_cast<long long>(courses));
  return 0;
}

// Takes any text as the answer of an LBS server, and as the cache file of an earlier run. The
// service runs on its own thread, and all slots of a client are called.
#include <algorithm>
#include <future>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/json/json.h"
#include "base/platform/file.h"
#include "base/thread/post_task.h"
#include "fuzz/environment.h"
#include "fuzz/expect.h"
#include "net/url.h"
#include "src/business/sturdy_lbs/sturdy_lbs_service.h"
#include "tests/support/client_calls.h"

namespace {

using zo_base::json11::Json;
using zo_sturdy::ZOSturdyLBSServiceImpl;

constexpr char kDefaultV4[] = "10.0.0.9:9";
constexpr char kDefaultV6[] = "[::9]:9";
constexpr size_t kMostCalls = 40;

using Link = std::pair<std::string, uint16_t>;  // host and port

std::shared_ptr<ZOSturdyLBSServiceImpl> StartService(Environment& environment) {
  auto service = std::make_shared<ZOSturdyLBSServiceImpl>();
  service->SetEnvironmentConfig(environment.config);
  auto record = LBSRecord("http://127.0.0.1/lbs/conf.jsp", kDefaultV4);
  Fill(record.default_link_v6, kDefaultV6);
  Expect(service->Start(record), "a service starts, whatever its cache holds");
  return service;
}

// A client's buffer, of a size from sturdy.h.
class Buffer {
 public:
  explicit Buffer(size_t size) : bytes_(size) {}

  template <class Slot>
  std::string Read(Slot slot) {
    constexpr size_t kMostOfAnInput = size_t{1} << 16;
    std::fill_n(bytes_.begin(), std::min(bytes_.size(), kMostOfAnInput), '\0');
    slot(bytes_.data());
    return bytes_.data();
  }

 private:
  std::vector<char> bytes_;
};

struct Answer {
  Link link;
  net::AddressFamily family = net::kIPFamilyAny;
};

Answer GetLink(zo_sturdy::IZOSturdyLBSService& slots, net::AddressFamily family) {
  static auto& buffer = *new Buffer(zo_sturdy::kLinkHostBufferSize);
  Answer answer;
  answer.family = family;
  answer.link.first = buffer.Read([&](char* host) {
    Expect(slots.GetLinkAddress(host, &answer.link.second, &answer.family), "there is an address");
  });
  return answer;
}

Link Split(const std::string& text) {
  Link link;
  int32_t port = 0;
  url::GetURLHostAndPort("http://" + text, link.first, port);
  link.first = link.first.c_str();  // a client reads its buffer up to the first NUL
  link.second = static_cast<uint16_t>(port);
  return link;
}

std::vector<Link> UsableLinks(const Json& list) {
  constexpr size_t kMostBytes = 511;
  std::vector<Link> links;
  for (const Json& item : list.array_items()) {
    const std::string& text = item.string_value();
    if (!text.empty() && text.size() <= kMostBytes) {
      links.push_back(Split(text));
    }
  }
  return links;
}

// Expects the addresses of the list, in its order, and a default after the last one.
void ExpectAllowedLinks(zo_sturdy::IZOSturdyLBSService& slots, const Json& common) {
  const std::vector<Link> links = UsableLinks(common["link"]);
  const std::vector<Link> defaults = UsableLinks(common["link.default"]);
  std::set<Link> allowed(defaults.begin(), defaults.end());
  allowed.insert({Split(kDefaultV4), Split(kDefaultV6)});
  Expect(slots.GetLinkHostCount() == static_cast<int32_t>(links.size()), "the size of the list");
  // Any family: the list in its order.
  for (size_t i = 0; i < std::min(links.size() + 1, kMostCalls); ++i) {
    const Link link = GetLink(slots, net::kIPFamilyAny).link;
    Expect(i < links.size() ? link == links[i] : allowed.count(link) != 0, "in turn", link.first);
  }
  // One family: only its addresses, or a default.
  allowed.insert(links.begin(), links.end());
  for (const net::AddressFamily family : {net::kIPFamilyV4, net::kIPFamilyV6}) {
    for (size_t i = 0; i < std::min(links.size() + 2, kMostCalls); ++i) {
      const Answer answer = GetLink(slots, family);
      Expect(allowed.count(answer.link) != 0, "an allowed address", answer.link.first);
      Expect(answer.family == family || answer.family == net::kIPFamilyAny ||
                 std::count(links.begin(), links.end(), answer.link) == 0 ||
                 std::count(defaults.begin(), defaults.end(), answer.link) != 0,
             "of the family", answer.link.first);
    }
  }
  // After a hold, the list begins again.
  if (!links.empty()) {
    slots.HoldLinkAddress(links.front().first.c_str(), static_cast<int16_t>(links.front().second));
    char host[zo_sturdy::kLinkHostBufferSize] = {};
    uint16_t port = 0;
    net::AddressFamily family = net::kIPFamilyAny;
    Expect(slots.PeekLinkAddress(host, &port, &family), "a list that is begun again isn't spent");
    const Link next = GetLink(slots, net::kIPFamilyAny).link;
    Expect(next == Link(host, port), "the next address is the one that was shown", next.first);
  }
}

// Calls every other slot, with buffers of the sizes in sturdy.h.
void ReadSlots(zo_sturdy::IZOSturdyLBSService& slots) {
  static auto& large = *new Buffer(zo_sturdy::kVltListBufferSize);
  static auto& small = *new Buffer(zo_sturdy::kNameBufferSize);
  static auto& record = *new Buffer(zo_sturdy::kMsgStatInfoBufferSize);
  large.Read([&](char* out) { slots.GetVltDLList(out); });
  large.Read([&](char* out) { slots.GetVltList(out); });
  small.Read([&](char* out) { slots.GetVltDL(out); });
  small.Read([&](char* out) { slots.GetName(out); });
  small.Read([&](char* out) { slots.GetDesc(out); });
  record.Read([&](char* out) { slots.GetMsgStatInfo(out); });
}

std::string Response(zo_sturdy::IZOSturdyLBSService& slots) {
  static auto& buffer = *new Buffer(zo_sturdy::kLBSResponseBufferSize);
  return buffer.Read([&](char* out) { slots.GetLBSResponse(true, out); });
}

void JudgeCache(const std::string& text) {
  static auto& environment = *new Environment;
  zo_base::CreateFolders(environment.folder.File("lbs"));
  zo_base::WriteWholeFile(environment.folder.File("lbs/lbs.data"), text);
  const auto service = StartService(environment);
  std::string error;
  const Json active = Json::parse(Response(*service), error);
  Expect(active["common"]["link.default"].type() == Json::ARRAY, "a complete document", error);
  ExpectAllowedLinks(*service, active["common"]);
  ReadSlots(*service);
  zo_sturdy::LBSResponse again;
  again.SetEnvironmentConfig(environment.config);
  Expect(again.LoadCache(), "the file is usable once more");
  service->Stop();
  environment.DropRequests();
}

// One service for all documents. It has a token, so it sends fetches.
class Fetches {
 public:
  Fetches() {
    {
      const zo_base::RecursiveMutexLock lock(environment_.config->mutex);
      environment_.config->business_token = "key";
    }
    service_ = StartService(environment_);
    environment_.Next();
    service_->SetUpdateCallback([](int code, const char* document) {
      told_code = code;
      told = document;
    });
  }

  void Judge(const std::string& text) {
    const std::string before = Response(*service_);
    service_->UpdateLBS(net::kIPFamilyAny, true);
    const bool good = Environment::Answer(environment_.Next(), text);
    Settle();
    const std::string visible = text.c_str();
    Expect(Response(*service_) == (good ? visible : before), "the good document, or the old one");
    Expect(told_code == (good ? 200 : 0) && told == Response(*service_), "the client is told");
    if (good) {
      ExpectCacheHolds(text);
    }
    // A cache file can contain what no check would accept.
    if (good || service_->ParseLBSResponse(text, "0")) {
      std::string error;
      ExpectAllowedLinks(*service_, Json::parse(text, error)["common"]);
    }
    ReadSlots(*service_);
    Settle();
    environment_.DropRequests();
  }

 private:
  // Returns after the service's thread has run its earlier posts.
  void Settle() {
    std::promise<void> ran;
    zo_base::PostTo(*service_, [&] { ran.set_value(); });
    ran.get_future().wait();
  }

  void ExpectCacheHolds(const std::string& text) {
    zo_sturdy::LBSResponse cache;
    cache.SetEnvironmentConfig(environment_.config);
    Expect(cache.LoadCache(), "what is saved loads again");
    Expect(cache.Get(zo_sturdy::lbs_key::kResponse) == text, "the same document");
    Expect(cache.CheckResponse(cache.Get(zo_sturdy::lbs_key::kResponse)), "as good as before");
  }

  static inline int told_code = -1;
  static inline std::string told;

  Environment environment_;
  std::shared_ptr<ZOSturdyLBSServiceImpl> service_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  JudgeCache(text);
  static auto& fetches = *new Fetches;
  fetches.Judge(text);
  return 0;
}

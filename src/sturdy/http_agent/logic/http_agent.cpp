#include "src/sturdy/http_agent/logic/http_agent.h"

#include <utility>

#include "base/any_thread_closure.h"
#include "base/json/json.h"
#include "base/log/log.h"
#include "base/post_task.h"
#include "base/signals.h"
#include "net/ip_address.h"
#include "network/http_client.h"
#include "src/sturdy/environment/environment_config.h"
#include "src/sturdy/http_agent/logic/multiple_url_request_helper.h"

namespace zo_sturdy {
namespace {

constexpr int kHostIsAddress = 1;
constexpr int kHostNotResolved = 2;

std::string URLListText(const std::vector<URLItem>& urls) {
  std::string text =
      "Invoke send multiple url\r\n-----------------------\r\n"
      "url list:\r\n";
  for (const URLItem& item : urls) {
    text.append("host:").append(item.host).append(" url:").append(item.url).append("\r\n");
  }
  return text.append("-----------------------");
}

}  // namespace

HttpAgent::~HttpAgent() {
  Stop();
}

template <class F>
auto HttpAgent::ForAnyThread(F closure) {
  const std::shared_ptr<zo_base::BaseThread> thread = AgentThread();
  std::weak_ptr<zo_base::ITaskLoop> agent_loop;
  if (thread != nullptr) {
    agent_loop = thread->GetTaskLoop();
  }
  return zo_base::AnyThreadClosure(std::move(agent_loop),
                                   std::weak_ptr<HttpAgent>(SharedFromThis<HttpAgent>()),
                                   ToWeakClosure(std::move(closure)));
}

void HttpAgent::Start() {
  start_flag.Call([this] {
    try {
      StartMembers();
    } catch (...) {
      Stop();
      throw;
    }
  });
}

// What the thread's first request may need is there before the thread runs.
void HttpAgent::StartMembers() {
  const auto thread = std::make_shared<zo_base::BaseThread>("http_agent_work");
  {
    zo_base::MutexLock lock(thread_mutex);
    http_agent_thread = thread;
  }
  if (const auto config = GetEnvironmentConfig()) {
    config->SetHttpRequestInvoker(
        ForAnyThread([this](const MultipleURLHttpRequest& request, bool on_agent_thread) {
          Invoke(request, on_agent_thread);
        }));
  }
  KRBASE::network::HttpClient::Instance()->Start();
  thread->Start();
}

void HttpAgent::Stop() {
  if (const std::shared_ptr<zo_base::BaseThread> thread = AgentThread()) {
    thread->Stop();
    zo_base::MutexLock lock(thread_mutex);
    http_agent_thread.reset();
  }
}

std::shared_ptr<zo_base::BaseThread> HttpAgent::AgentThread() const {
  zo_base::MutexLock lock(thread_mutex);
  return http_agent_thread;
}

void HttpAgent::Invoke(const MultipleURLHttpRequest& request, bool on_agent_thread) {
  const std::shared_ptr<zo_base::BaseThread> thread = on_agent_thread ? AgentThread() : nullptr;
  if (thread == nullptr) {
    InvokeMultipleURLHttpRequest(request);
    return;
  }
  zo_base::PostTo(*thread,
                  ToWeakClosure([this, request] { InvokeMultipleURLHttpRequest(request); }));
}

void HttpAgent::InvokeMultipleURLHttpRequest(const MultipleURLHttpRequest& request) {
  auto owned = std::make_unique<MultipleURLHttpRequestHelper>(request);
  MultipleURLHttpRequestHelper* const helper = owned.get();
  helper->Connect(
      zo_base::SignalKey(&MultipleURLHttpRequestHelper::SIG_ALL_SUB_REQUEST_RETURN),
      ForAnyThread([this, helper](bool success, const std::string& headers, const std::string& body,
                                  const MultipleURLHttpRequest& record) {
        CompleteRequest(helper, success, headers, body, record);
      }));
  ZO_LOG(LV_APP) << "[multiple]Invoke send multiple_time_out:" << request.multiple_time_out
                 << " time_out:" << request.time_out << " use http dns:" << request.use_http_dns;
  ZO_LOG(LV_APP) << "[multiple]" << URLListText(request.urls);
  if (!request.urls.empty()) {
    (void)owned.release();  // its own from here on
  }
  helper->InvokeRequest();
}

void HttpAgent::CompleteRequest(MultipleURLHttpRequestHelper* helper, bool success,
                                const std::string& headers, const std::string& body,
                                const MultipleURLHttpRequest& request) {
  const std::shared_ptr<MultipleURLHttpRequestHelper> adopted(helper);
  if (success) {
    request.callback(true, headers, body);
    return;
  }
  const char* const kFailed = "[multiple]Request return false, use http dns if fail:";
  ZO_LOG(LV_APP) << kFailed << request.use_http_dns;
  if (!request.use_http_dns) {
    ZO_LOG(LV_APP) << kFailed << request.use_http_dns;
  }
  request.callback(false, headers, body);
}

bool HttpAgent::QueryHost(const std::string& host, int32_t /*ip_family*/, std::string& result) {
  const int code = net::IsIPLiteral(host) ? kHostIsAddress : kHostNotResolved;
  result = zo_base::json11::Json(zo_base::json11::Json::object{{"code", code}}).dump();
  return false;
}

}  // namespace zo_sturdy

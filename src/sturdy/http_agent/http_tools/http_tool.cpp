#include "src/sturdy/http_agent/http_tools/http_tool.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <utility>

#include "base/ascii.h"
#include "base/log/log.h"
#include "base/process/no_destructor.h"
#include "base/sync/mutex.h"
#include "base/thread/post_task.h"
#include "base/thread/thread_info.h"
#include "net/ip_address.h"
#include "net/url.h"
#include "network/http_client.h"
#include "network/http_request.h"
#include "network/http_response.h"

namespace zo_sturdy {
namespace {

using KRBASE::network::HttpClient;
using KRBASE::network::HttpHeaderList;
using KRBASE::network::HttpMethodOf;
using KRBASE::network::HttpRequestUser;
using KRBASE::network::HttpResponseUser;
using KRBASE::network::kHttpMethodPost;

// Splits header lines at their colons. The name is the first piece and the value the last one, so a
// value with a colon keeps only its end; callers know that. Drops a line without both.
HttpHeaderList SplitHeads(const std::vector<std::string>& heads) {
  HttpHeaderList pairs;
  for (const std::string& line : heads) {
    std::vector<std::string> pieces;
    size_t begin = 0;
    while (begin <= line.size()) {
      const size_t end = std::min(line.find(':', begin), line.size());
      if (end > begin) {
        pieces.push_back(line.substr(begin, end - begin));
      }
      begin = end + 1;
    }
    if (pieces.size() >= 2) {
      pairs.emplace_back(std::move(pieces.front()), std::move(pieces.back()));
    }
  }
  return pairs;
}

// The destination of a sub-request, and the name to present there.
struct Target {
  explicit Target(const HttpToolRequest& request) : is_https(url::IsHttpsURL(request.url)) {
    url::GetURLHostAndPort(request.url, url_host, port);
    if (port == 0) {
      port = url::DefaultPort(is_https);
    }
    host = request.host.empty() ? url_host : request.host;
    host_is_ip = net::IsIPLiteral(url_host);
  }
  bool NamesHostOfIP() const { return host_is_ip && !host.empty(); }
  bool NeedsSNI() const { return host_is_ip && is_https; }

  std::string url_host;
  std::string host;
  bool is_https = false;
  bool host_is_ip = false;
  int32_t port = 0;
};

std::string Describe(const HttpRequestUser& request, const Target& target) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::boolalpha;
  text << "url:" << request.url << "\r\n"
       << "type:" << (request.method == kHttpMethodPost ? "POST" : "GET") << "\r\n"
       << "time_out:" << request.time_out << "\r\n"
       << "host_from sty:" << target.host << "\r\n"
       << "host_is_ip:" << target.host_is_ip << "\r\n"
       << "is_https_url:" << target.is_https << "\r\n";
  if (target.NamesHostOfIP()) {
    text << "host_is_ip is true && host not empty set request host and port \r\n{\r\n"
         << "    call req->setIP:" << target.url_host << "\r\n"
         << "    call req->setPort:" << target.port << "\r\n"
         << "    call req->setHost:" << target.host << "\r\n"
         << "}\r\n\r\n";
  }
  if (target.NeedsSNI()) {
    text << "call req->setSNI:true\r\n";
  }
  text << "Heads:\r\n";
  for (const auto& [name, value] : request.headers) {
    text << "    " << name << ":" << value << "\r\n";
  }
  return text.str();
}

std::shared_ptr<HttpRequestUser> MakeClientRequest(const HttpToolRequest& request) {
  const Target target(request);
  auto made = std::make_shared<HttpRequestUser>();
  made->method = HttpMethodOf(request.type);
  made->url = request.url;
  made->time_out = request.time_out;
  made->headers = SplitHeads(request.heads);
  if (std::none_of(made->headers.begin(), made->headers.end(), [](const auto& header) {
        return zo_base::EqualIgnoringCase(header.first, "host");
      })) {
    made->headers.emplace_back("Host", target.host);
  }
  if (target.NamesHostOfIP()) {
    made->setIP(target.url_host);
    made->setPort(target.port);
    made->setHost(target.host);
  }
  if (target.NeedsSNI()) {
    made->setSNI(true);
  }
  ZO_LOG(LV_PRO) << "[http tool]Post request to http lib info:\r\n" << Describe(*made, target);
  if (made->method == kHttpMethodPost) {
    made->setBody(request.body.data(), request.body.size());
  }
  return made;
}

void Deliver(const HttpToolRequest::Callback& callback, const HttpResponseUser& response) {
  std::string headers;
  for (const auto& [name, value] : response.headers) {
    headers.append(name).append(":").append(value).append("\r\n");
  }
  if (headers.size() >= 2) {
    headers.resize(headers.size() - 2);
  }
  const std::string body = response.body.c_str();  // up to its first zero byte
  callback(response.status, headers, body, response.host_addresses);
}

}  // namespace

zo_base::RecursiveMutex& HttpTool::DeliveryMutex() {
  static zo_base::NoDestructor<zo_base::RecursiveMutex> mutex;
  return *mutex;
}

void HttpTool::PostRequest(const HttpToolRequest& request) {
  std::weak_ptr<zo_base::ITaskLoop> home;
  if (const zo_base::ThreadInfo* thread = zo_base::CurrentThreadInfo()) {
    home = thread->task_loop;
  }
  const std::shared_ptr<HttpRequestUser> made = MakeClientRequest(request);
  made->callback = [callback = request.callback, home](
                       HttpClient*, const std::shared_ptr<HttpResponseUser>& response, int32_t) {
    if (const std::shared_ptr<zo_base::ITaskLoop> loop = home.lock()) {
      zo_base::PostTo(loop, [callback, response] { Deliver(callback, *response); });
      return;
    }
    // The mutex is recursive: a client that can't send answers inside Send, and the callback may
    // send.
    const zo_base::RecursiveMutexLock lock(DeliveryMutex());
    Deliver(callback, *response);
  };
  HttpClient::Instance()->Send(made);
}

}  // namespace zo_sturdy

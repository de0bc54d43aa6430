// A process that returns from main while all workers are in transfers, and never stops the client.
//   end_in_transfer URL NUMBER_OF_ANSWERS_FIRST plain | openssl-first | fork
#include <openssl/ssl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "network/http_client.h"

namespace {

std::atomic<int> answers{0};
std::string* url = nullptr;  // never freed: the workers outlive main

void SendOneMore() {
  auto request = std::make_shared<KRBASE::network::HttpRequestUser>();
  request->method = KRBASE::network::kHttpMethodGet;
  request->url = *url;
  request->callback = [](auto*, const auto&, int32_t) {
    ++answers;
    answers.notify_one();
    SendOneMore();
  };
  KRBASE::network::HttpClient::Instance()->Send(request);
}

}  // namespace

int main(int /*count*/, char** arguments) {
  const std::string option = arguments[3];
  if (option == "openssl-first") {
    OPENSSL_init_ssl(0, nullptr);
  }
  url = new std::string(arguments[1]);
  KRBASE::network::HttpClient::Instance()->Start();
  for (int i = 0; i < 16; ++i) {
    SendOneMore();
  }
  for (int seen = answers; seen < std::stoi(arguments[2]); seen = answers) {
    answers.wait(seen);
  }
  int status = 0;
  if (option == "fork" && fork() != 0) {
    wait(&status);
  }
  return status;
}

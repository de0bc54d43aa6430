#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "lab/request.h"
#include "lab/scenario.h"

namespace lab {

// Loopback servers that play a scenario and record every request, for as long as the object lives.
//   lab::Lab lab({lab::HttpServer("good").On("/lbs/conf.jsp", lab::Answer(document))});
//   ... use lab.Url("good", "/lbs/conf.jsp") ...
//   ASSERT_TRUE(lab.WaitForRequests(1, std::chrono::seconds(5)));
// Threads: one of its own serves all connections; all methods may be called on any other thread.
// Owner:   the caller. The destructor ends promptly, whatever state the connections are in.
// Errors:  the constructor throws ScenarioError (bad scenario, port taken). A name that is no
//          server of the scenario throws std::invalid_argument. Waits answer false at their limit.
class Lab {
 public:
  using Limit = std::chrono::milliseconds;
  // Called on the lab's thread for each request once it is recorded. It may call everything but
  // the waits.
  using Observer = std::function<void(const Request&)>;

  explicit Lab(Scenario scenario, Observer observer = nullptr);
  ~Lab();
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;

  // Where the servers are. HostPort gives "127.0.0.1:4711" or "[::1]:4711".
  int Port(const std::string& server) const;
  std::string HostPort(const std::string& server) const;
  std::string Url(const std::string& server, const std::string& path = "") const;
  // The server's certificate, empty for a plain one.
  std::string CertificatePem(const std::string& server) const;

  // What has come so far, in order of arrival over all servers.
  std::vector<Request> Requests() const;
  std::vector<Request> RequestsOf(const std::string& server) const;
  std::vector<Request> RequestsFor(const std::string& path) const;
  void ForgetRequests();
  [[nodiscard]] bool WaitForRequests(size_t count, Limit limit) const;
  [[nodiscard]] bool WaitForRequestsFor(const std::string& path, size_t count, Limit limit) const;
  // The predicate runs with the record locked and may not call the lab.
  [[nodiscard]] bool WaitFor(const std::function<bool(const std::vector<Request>&)>& predicate,
                             Limit limit) const;

  // Connections, for servers that never see a request. An accepted one counts as open until both
  // sides are done with it.
  int Accepted(const std::string& server) const;
  int Open(const std::string& server) const;
  [[nodiscard]] bool WaitForAccepted(const std::string& server, int at_least, Limit limit) const;
  [[nodiscard]] bool WaitForOpen(const std::string& server, int exactly, Limit limit) const;

  // Replaces (or adds) the script of a route for the requests that come from now on.
  void SetBehaviours(const std::string& server, const std::string& path,
                     std::vector<Behaviour> behaviours);

  // Gates of behaviours made with HeldAt. Release lets go of the requests that are held now and
  // tells how many they were; OpenGate also lets pass all that come later.
  [[nodiscard]] bool WaitForHeld(const std::string& gate, int at_least, Limit limit) const;
  int Release(const std::string& gate);
  void OpenGate(const std::string& gate);

  // A server goes away and comes back on the same port. Stop resets its connections; both return
  // when it is done. Resume of a server that listens is a no-op.
  void StopListening(const std::string& server);
  void ResumeListening(const std::string& server);
  void StopListeningAll();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace lab

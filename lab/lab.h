#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "lab/gates.h"
#include "lab/journal.h"
#include "lab/request.h"
#include "lab/scenario.h"

namespace lab {

// Loopback servers that play a scenario and record every request while the object exists.
//   lab::Lab lab({lab::HttpServer("good").On("/lbs/conf.jsp", lab::Answer(document))});
//   ... use lab.Url("good", "/lbs/conf.jsp") ...
//   ASSERT_TRUE(lab.journal().WaitForRequests(1, std::chrono::seconds(5)));
// Threads: its own thread serves all connections. All methods may be called on any other thread.
// Owner:   the caller. The destructor returns promptly, whatever state the connections are in.
// Errors:  the constructor throws ScenarioError (bad scenario, port taken). The name of an unknown
//          server throws std::invalid_argument. A wait returns false at its limit.
class Lab {
 public:
  using Limit = std::chrono::milliseconds;
  // Called on the lab's thread for each request, after it is recorded. May call every method except
  // the waits.
  using Observer = std::function<void(const Request&)>;

  explicit Lab(const Scenario& scenario, Observer observer = nullptr);
  ~Lab();
  Lab(const Lab&) = delete;
  Lab& operator=(const Lab&) = delete;

  // Where the servers listen. HostPort returns "127.0.0.1:4711" or "[::1]:4711".
  int Port(const std::string& server) const;
  std::string HostPort(const std::string& server) const;
  std::string Url(const std::string& server, const std::string& path = "") const;
  // The server's certificate; empty for a plain server.
  std::string CertificatePem(const std::string& server) const;

  // What the servers have seen so far.
  const Journal& journal() const;
  void ForgetRequests();

  // Replaces or adds the behaviours of a route, for requests that come from now on.
  void SetBehaviours(const std::string& server, const std::string& path,
                     std::vector<Behaviour> behaviours);

  // Holds and releases the requests of behaviours made with HeldAt.
  Gates& gates();

  // Stops a server, which keeps its port and resets its connections, and starts it again. Both
  // block until that is done. Resuming a server that listens does nothing.
  void StopListening(const std::string& server);
  void ResumeListening(const std::string& server);
  void StopListeningAll();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace lab

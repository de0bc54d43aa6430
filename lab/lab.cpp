#include "lab/lab.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/system/system_error.hpp>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>

#include "lab/platform/quiet_thread.h"
#include "lab/port_reservation.h"
#include "lab/running_server.h"
#include "lab/scenario_check.h"
#include "lab/script.h"

namespace lab {
namespace {

namespace asio = boost::asio;

std::vector<std::string> NamesOf(const Scenario& scenario) {
  std::vector<std::string> names;
  for (const Server& server : scenario.servers) {
    names.push_back(server.name);
  }
  return names;
}

}  // namespace

// The servers and the thread that runs them. The io_context holds the connections, and they use the
// servers, the journal and the script, so it ends first.
class Lab::Impl {
 public:
  Impl(const Scenario& scenario, Observer observer)
      : journal(NamesOf(scenario)), observer_(std::move(observer)) {
    scenario.Check();
    StartServers(scenario);
    for (const Server& server : scenario.servers) {
      for (const Route& route : server.routes) {
        SetBehaviours(server.name, route.path, route.behaviours);
      }
    }
    thread_ = StartQuietThread([this] { io_->run(); });
  }

  ~Impl() {
    io_->stop();
    thread_.join();
    for (const auto& server : servers_) {
      server->Drop();
    }
    work_.reset();
    io_.reset();  // drops the connections, which still need the servers and the journal
  }

  RunningServer& At(const std::string& name) const {
    for (const auto& server : servers_) {
      if (server->name() == name) {
        return *server;
      }
    }
    throw std::invalid_argument("the lab has no server \"" + name + "\"");
  }

  void SetBehaviours(const std::string& server, const std::string& path,
                     std::vector<Behaviour> behaviours) {
    const std::string key = At(server).name() + path;
    CheckBehaviours(behaviours, key, endpoints_);
    for (Behaviour& behaviour : behaviours) {
      behaviour = ExpandAll(std::move(behaviour), key, endpoints_);
    }
    script.Set(server, path, std::move(behaviours));
  }

  // Runs the task on the lab's thread and blocks until it has returned. Rethrows its exception.
  template <class Task>
  void OnLabThread(Task task) {
    std::packaged_task<void()> packaged(std::move(task));
    std::future<void> done = packaged.get_future();
    asio::dispatch(*io_, [&packaged] { packaged(); });
    done.get();
  }

  const std::vector<std::unique_ptr<RunningServer>>& servers() const { return servers_; }

  Journal journal;
  Gates gates;
  Script script;

 private:
  void StartServers(const Scenario& scenario) {
    std::vector<LoopbackPort> ports = ReservePorts(*io_, scenario.servers);
    for (size_t i = 0; i < scenario.servers.size(); ++i) {
      const Server& server = scenario.servers[i];
      servers_.push_back(std::make_unique<RunningServer>(*io_, server, std::move(ports[i]), journal,
                                                         gates, script, observer_));
      try {
        servers_.back()->Listen();
      } catch (const boost::system::system_error& error) {
        throw PortTaken(server, i, error);
      }
      endpoints_.push_back(servers_.back()->AsEndpoint());
    }
  }

  const Observer observer_;
  std::unique_ptr<asio::io_context> io_ = std::make_unique<asio::io_context>(1);
  asio::executor_work_guard<asio::io_context::executor_type> work_{io_->get_executor()};
  std::vector<std::unique_ptr<RunningServer>> servers_;
  std::vector<Endpoint> endpoints_;
  std::thread thread_;
};

Lab::Lab(const Scenario& scenario, Observer observer)
    : impl_(std::make_unique<Impl>(scenario, std::move(observer))) {}

Lab::~Lab() = default;

int Lab::Port(const std::string& server) const {
  return impl_->At(server).port();
}

std::string Lab::HostPort(const std::string& server) const {
  return impl_->At(server).HostPort();
}

std::string Lab::Url(const std::string& server, const std::string& path) const {
  return impl_->At(server).Url() + path;
}

std::string Lab::CertificatePem(const std::string& server) const {
  return impl_->At(server).certificate_pem();
}

const Journal& Lab::journal() const {
  return impl_->journal;
}

void Lab::ForgetRequests() {
  impl_->journal.Forget();
}

void Lab::SetBehaviours(const std::string& server, const std::string& path,
                        std::vector<Behaviour> behaviours) {
  impl_->SetBehaviours(server, path, std::move(behaviours));
}

Gates& Lab::gates() {
  return impl_->gates;
}

void Lab::StopListening(const std::string& server) {
  impl_->OnLabThread([&running = impl_->At(server)] { running.Stop(); });
}

void Lab::ResumeListening(const std::string& server) {
  impl_->OnLabThread([&running = impl_->At(server)] { running.Listen(); });
}

void Lab::StopListeningAll() {
  impl_->OnLabThread([this] {
    for (const auto& server : impl_->servers()) {
      server->Stop();
    }
  });
}

}  // namespace lab

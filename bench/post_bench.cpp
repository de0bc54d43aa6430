// Measures posting a task and seeing it run, one at a time and a thousand at once. Peer:
// boost::asio::post on an io_context that one thread runs.
#include <benchmark/benchmark.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <memory>
#include <semaphore>
#include <thread>

#include "base/thread/base_thread.h"
#include "base/thread/post_task.h"

namespace {

class OurLoop {
 public:
  OurLoop() { thread_->Start(); }
  ~OurLoop() { thread_->Stop(); }
  OurLoop(const OurLoop&) = delete;
  OurLoop& operator=(const OurLoop&) = delete;

  template <typename Task>
  void Post(Task task) {
    zo_base::PostTo(loop_, task);
  }

 private:
  const std::shared_ptr<zo_base::BaseThread> thread_ =
      std::make_shared<zo_base::BaseThread>("bench");
  const std::shared_ptr<zo_base::ITaskLoop> loop_ = thread_->GetTaskLoop();
};

// The 1 says that one thread runs it, as the peer's documentation advises.
class AsioLoop {
 public:
  AsioLoop() : thread_([this] { context_.run(); }) {}
  ~AsioLoop() {
    work_.reset();
    thread_.join();
  }
  AsioLoop(const AsioLoop&) = delete;
  AsioLoop& operator=(const AsioLoop&) = delete;

  template <typename Task>
  void Post(Task task) {
    boost::asio::post(context_, std::move(task));
  }

 private:
  boost::asio::io_context context_{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{
      context_.get_executor()};
  std::thread thread_;
};

template <typename Loop>
void PostAndSee(benchmark::State& state) {
  Loop loop;
  std::binary_semaphore done(0);
  for (auto _ : state) {
    for (int64_t left = state.range(0); left > 1; --left) {
      loop.Post([&left] { benchmark::DoNotOptimize(&left); });
    }
    loop.Post([&done] { done.release(); });
    done.acquire();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(PostAndSee<OurLoop>)->Name("post/ours")->Arg(1)->Arg(1000)->UseRealTime();
BENCHMARK(PostAndSee<AsioLoop>)->Name("post/asio")->Arg(1)->Arg(1000)->UseRealTime();

}  // namespace

// Measures emitting a signal with no, one and three slots. Peer: Boost.Signals2.
#include <benchmark/benchmark.h>

#include <boost/signals2/signal.hpp>

#include "base/object/signals.h"

namespace {

// Our signals belong to an object, which finds their slots in a table.
class Emitter : public zo_base::ConnectAble {
 public:
  static inline zo_base::Signal<int> SIG_Changed;
};

void EmitOurs(benchmark::State& state) {
  Emitter emitter;
  int64_t sum = 0;
  for (int64_t i = 0; i < state.range(0); ++i) {
    emitter.Connect(Emitter::SIG_Changed, [&sum](int value) { sum += value; });
  }
  for (auto _ : state) {
    emitter.Emit(Emitter::SIG_Changed, 1);
    benchmark::DoNotOptimize(sum);
  }
}

void EmitSignals2(benchmark::State& state) {
  boost::signals2::signal<void(int)> signal;
  int64_t sum = 0;
  for (int64_t i = 0; i < state.range(0); ++i) {
    signal.connect([&sum](int value) { sum += value; });
  }
  for (auto _ : state) {
    signal(1);
    benchmark::DoNotOptimize(sum);
  }
}

BENCHMARK(EmitOurs)->Name("emit/ours")->Arg(0)->Arg(1)->Arg(3);
BENCHMARK(EmitSignals2)->Name("emit/signals2")->Arg(0)->Arg(1)->Arg(3);

}  // namespace

#include "base/object/object.h"

#include <gmock/gmock.h>

#include <future>

#include "base/thread/base_thread.h"
#include "base/thread/for_any_thread.h"
#include "base/thread/post_task.h"
#include "tests/support/run_threads.h"

namespace zo_base {
namespace {

using testing::ElementsAre;

class Object : public ZOObjectIMPL {
 public:
  static inline Signal<const std::string&> SIG_Text;
  static inline Signal<int> SIG_Number;
};

TEST(ForAnyThread, HoldsItsOwnerOnForeignThreadsOnly) {
  auto owner = std::make_shared<Object>();
  auto thread = std::make_shared<BaseThread>("own");
  const std::weak_ptr<Object> weak = owner;
  auto closure = ForAnyThread(*owner, thread->GetTaskLoop(), [&](bool drop) {
    if (drop) {
      owner.reset();
    }
    return weak.use_count();
  });
  std::promise<long> on_own_thread;
  PostTo(*thread, [&] { on_own_thread.set_value(closure(false)); });
  thread->Start();
  EXPECT_EQ(on_own_thread.get_future().get(), 1);
  EXPECT_EQ(closure(false), 2);
  thread->Stop();
  EXPECT_EQ(closure(true), 1);
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(closure(false), 0);
}

TEST(WeakClosure, ExpiresWithCancelAndOwner) {
  auto owner = std::make_shared<Object>();
  std::function<bool()> earlier = owner->ToWeakClosure([] { return true; });
  EXPECT_TRUE(earlier() && owner->HasUsedFlag());
  owner->Cancel();
  EXPECT_FALSE(earlier() || owner->HasUsedFlag());
  std::function<bool()> later = owner->ToWeakClosure([] { return true; });
  EXPECT_TRUE(later() && !earlier());
  owner.reset();
  EXPECT_FALSE(later());
}

TEST(WeakClosure, CanBeCancelledFromAnotherThread) {
  Object owner;
  RunThreads(3, [&](int i) {
    for (int n = 0; n < 500; ++n) {
      i == 0 ? owner.Cancel() : owner.ToWeakClosure([] {})();
    }
  });
}

class Signals : public testing::Test {
 protected:
  std::function<void(const std::string&)> Note(const std::string& name) {
    return [this, name](const std::string& text) { calls.push_back(name + text); };
  }
  void Emit(const std::string& text) {
    calls.clear();
    emitter->Emit(Object::SIG_Text, text);
  }

  std::shared_ptr<Object> emitter = std::make_shared<Object>();
  std::vector<std::string> calls;
};

TEST_F(Signals, CallSlotsInOrderOfConnection) {
  Emit("nobody");
  Object receiver;
  auto first = emitter->Connect(Object::SIG_Text, Note("a"));
  auto cancelled = emitter->Connect(Object::SIG_Text, receiver.ToWeakClosure(Note("b")));
  emitter->Connect(Object::SIG_Text, Note("c"));
  Emit("1");
  EXPECT_THAT(calls, ElementsAre("a1", "b1", "c1"));
  receiver.Cancel();
  Emit("2");
  EXPECT_THAT(calls, ElementsAre("a2", "c2"));
  EXPECT_TRUE(cancelled.connected());
  emitter->Emit(Object::SIG_Number, 3);
  EXPECT_EQ(calls.size(), 2u);
  cancelled.disconnect();
  first.disconnect();
  Emit("3");
  EXPECT_THAT(calls, ElementsAre("c3"));
}

TEST_F(Signals, SlotsMayConnectDisconnectAndDestroyTheEmitter) {
  zo_sigslot::connection later;
  auto self = emitter->Connect(Object::SIG_Text, [&](const std::string& text) {
    calls.push_back("self" + text);
    later.disconnect();
    emitter->Connect(Object::SIG_Text, Note("new"));
    if (text == "2") {
      emitter.reset();
    }
  });
  later = emitter->Connect(Object::SIG_Text, Note("later"));
  Emit("1");
  EXPECT_THAT(calls, ElementsAre("self1", "later1"));
  Emit("2");
  EXPECT_THAT(calls, ElementsAre("self2", "new2"));
  self.disconnect();
}

TEST_F(Signals, AnyThreadMayConnectEmitAndDisconnect) {
  std::vector<zo_sigslot::connection> shared(200);
  for (auto& handle : shared) {
    handle = emitter->Connect(Object::SIG_Text, [](const std::string&) {});
  }
  RunThreads(4, [&](int thread) {
    for (auto& handle : shared) {
      // Two threads disconnect the same ones while emissions of others hold them.
      if (thread < 2) {
        handle.disconnect();
      } else {
        auto mine = emitter->Connect(Object::SIG_Text, [](const std::string&) {});
        emitter->Emit(Object::SIG_Text, "x");
        mine.disconnect();
      }
    }
  });
  EXPECT_TRUE(std::none_of(shared.begin(), shared.end(), [](auto& h) { return h.connected(); }));
}

}  // namespace
}  // namespace zo_base

#pragma once
// AgentThread: a thread of the agent that runs a function of the test.

#include <functional>
#include <utility>

#include "runtime/recoverable_thread.h"

class AgentThread {
 public:
  explicit AgentThread(std::function<void()> body) : _body(std::move(body)), _thread(&run, this, 0, 0) {
    _thread.start(nullptr);
  }
  /// Waits for the end of the thread.
  AgentThread& join() {
    _thread.waitForThreadToFinish();
    return *this;
  }
  ZOVRecoverableThread* operator->() { return &_thread; }

 private:
  static int run(void* self, ZOVThread*) {
    static_cast<AgentThread*>(self)->_body();
    return 0;
  }
  std::function<void()> _body;
  ZOVRecoverableThread _thread;
};

#pragma once
// A thread of the agent that runs a function of the test, and a sink that collects trace lines.

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/trace.h"
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

/// Collects trace lines while it lives.
class TraceLines {
 public:
  TraceLines() { DGT1_SetSink(&collect, this); }
  ~TraceLines() { DGT1_SetSink(nullptr, nullptr); }
  TraceLines(const TraceLines&) = delete;
  TraceLines& operator=(const TraceLines&) = delete;

  std::vector<std::string> all() const {
    const std::scoped_lock lock(_mutex);
    return _lines;
  }
  /// How many lines contain the text.
  int count(std::string_view text) const {
    int found = 0;
    for (const std::string& line : all()) found += line.find(text) != std::string::npos;
    return found;
  }

 private:
  static void collect(const char*, int, std::string_view text, void* self) {
    auto* lines = static_cast<TraceLines*>(self);
    const std::scoped_lock lock(lines->_mutex);
    lines->_lines.emplace_back(text);
  }
  mutable std::mutex _mutex;
  std::vector<std::string> _lines;
};

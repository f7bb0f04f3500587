#pragma once
// TraceCapture: takes every trace line of the process while it lives, with the flags that its setting names,
// and restores "ERROR MESSAGE" at its end. One at a time; any thread may trace into it.

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "platform/trace.h"

class TraceCapture {
 public:
  explicit TraceCapture(const char* setting = "ERROR MESSAGE") {
    EXPECT_TRUE(DGT1_Configure(setting));
    DGT1_SetSink(
        [](const char* tag, int, std::string_view text, void* self) {
          auto* capture = static_cast<TraceCapture*>(self);
          const std::lock_guard lock(capture->_mutex);
          capture->_lines.push_back(std::string(tag) + ": " + std::string(text));
        },
        this);
  }
  ~TraceCapture() {
    DGT1_SetSink(nullptr, nullptr);
    DGT1_Configure("ERROR MESSAGE");
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  /// The lines so far, as "UNIT: text".
  std::vector<std::string> lines() const {
    const std::lock_guard lock(_mutex);
    return _lines;
  }
  /// How many lines hold the text.
  int count(std::string_view text) const {
    int found = 0;
    for (const std::string& line : lines()) found += line.find(text) != std::string::npos;
    return found;
  }
  bool has(std::string_view text) const { return count(text) > 0; }

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _lines;
};

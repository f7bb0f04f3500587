#pragma once
// zov::GuardedText: a text that may change while others read it; UTF-8 or whatever its owner says. Any thread
// may call; a leaf mutex of its own guards the text, and readers get copies.

#include <string_view>

#include "foundation/string.h"
#include "platform/mutex.h"

namespace zov {

class GuardedText {
 public:
  explicit GuardedText(const RWCString& text = RWCString()) : _text(text) {}

  RWCString get() const {
    const MutexLock lock(_mutex);
    return _text;
  }
  /// True when the text differs from what was kept.
  bool set(std::string_view text) {
    const MutexLock lock(_mutex);
    if (_text.view() == text) return false;
    _text = RWCString(text);
    return true;
  }

 private:
  mutable Mutex _mutex;
  RWCString _text ZOV_GUARDED_BY(_mutex);
};

}  // namespace zov

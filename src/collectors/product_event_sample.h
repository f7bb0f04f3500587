#pragma once
// ZOVProductEventSample: one message of the agent or of a collector, as a row of the product events will show
// it. Texts are UTF-8, and cut at MaximumEventText. Not shared between threads except under the lock of its
// queue.

#include <ctime>

#include "collectors/event_text.h"
#include "runtime/collectable.h"

class ZOVProductEventSample : public ZOVCollectable {
 public:
  void setTimeStamp(const struct tm* when);
  void setMsgId(std::string_view id) { zov::setEventText(_msgId, id); }
  void setMsgDesc(std::string_view description) { zov::setEventText(_msgDesc, description); }
  /// Keeps what stands before the first "."; so the extension of a source file is cut.
  void setFile(std::string_view name) { zov::setEventText(_file, name.substr(0, name.find('.'))); }
  void setFunction(std::string_view function) { zov::setEventText(_function, function); }
  void setSeverity(int severity) { _severity = severity; }
  void setLine(int line) { _line = line; }

  /// The texts, copied as copyString does.
  void copyTimeStamp(char* out, int size) const { copyString(&_timeStamp, out, size); }
  void copyMsgId(char* out, int size) const { copyString(&_msgId, out, size); }
  void copyMsgDesc(char* out, int size) const { copyString(&_msgDesc, out, size); }
  void copyFile(char* out, int size) const { copyString(&_file, out, size); }
  void copyFunction(char* out, int size) const { copyString(&_function, out, size); }
  int getSeverity() const { return _severity; }  ///< 0 informational, 1 warning, 2 error, 3 severe
  int getLine() const { return _line; }

  ZOVProductEventSample* clone() const { return new ZOVProductEventSample(*this); }

 private:
  RWCString _timeStamp;  // 16 characters
  RWCString _msgId;
  RWCString _msgDesc;
  RWCString _file;
  RWCString _function;
  int _severity = 0;
  int _line = 0;
};

#pragma once
// ZOVProductEventSample: one message of the agent or of a collector, as a row of the product events will show
// it. Texts are UTF-8. Not shared between threads except under the collector's lock.

#include <ctime>

#include "collectors/event_text.h"
#include "runtime/collectable.h"

class ZOVProductEventSample : public ZOVCollectable {
 public:
  void setTimeStamp(const struct tm* when);
  void setMsgId(const RWCString& id) { _msgId = id; }
  void setMsgDesc(const RWCString& description) { _msgDesc = description; }
  /// Keeps what stands before the first "."; so the extension of a source file is cut.
  void setFile(const RWCString& name) { _file = name(0, name.first('.')); }
  void setFunction(const RWCString& function) { _function = function; }
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

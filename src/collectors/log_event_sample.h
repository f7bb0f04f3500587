#pragma once
// ZOVLogEventSample: one record of a server's activity log, as a row of the log events will show it. Texts
// are UTF-8, and cut at MaximumEventText; setting one uses its storage again. Not shared between threads
// except under the lock of its queue.

#include "collectors/event_text.h"
#include "runtime/collectable.h"
#include "runtime/time.h"

class ZOVLogEventSample : public ZOVCollectable {
 public:
  /// The 16-character form, in local time.
  void setTimeStamp(const ZOVTime* when, int milliseconds);
  void setThreadId(std::string_view text) { zov::setEventText(_threadId, text); }
  void setComponent(std::string_view text) { zov::setEventText(_component, text); }
  void setMsgId(std::string_view text) { zov::setEventText(_msgId, text); }
  void setMessage(std::string_view text) { zov::setEventText(_message, text); }
  void setProcessId(std::string_view text) { zov::setEventText(_processId, text); }
  void setServerInstanceName(std::string_view text) { zov::setEventText(_serverInstanceName, text); }
  void setSeverity(int severity) { _severity = severity; }
  void setLogEventSampleSeqNum(int number) { _logEventSampleSeqNum = number; }

  /// The texts, copied as copyString does. Job name, origin and address space stay empty on this platform.
  void copyTimeStamp(char* out, int size) const { copyString(&_timeStamp, out, size); }
  void copyThreadId(char* out, int size) const { copyString(&_threadId, out, size); }
  void copyComponent(char* out, int size) const { copyString(&_component, out, size); }
  void copyMsgId(char* out, int size) const { copyString(&_msgId, out, size); }
  void copyMessage(char* out, int size) const { copyString(&_message, out, size); }
  void copyJobName(char* out, int size) const { copyString(&_jobName, out, size); }
  void copyOrigin(char* out, int size) const { copyString(&_origin, out, size); }
  void copyProcessId(char* out, int size) const { copyString(&_processId, out, size); }
  void copyJobASID(char* out, int size) const { copyString(&_jobASID, out, size); }
  void copyServerInstanceName(char* out, int size) const { copyString(&_serverInstanceName, out, size); }
  int getSeverity() const { return _severity; }
  int getLogEventSampleSeqNum() const { return _logEventSampleSeqNum; }

  ZOVLogEventSample* clone() const { return new ZOVLogEventSample(*this); }

 private:
  RWCString _timeStamp, _threadId, _component, _msgId, _message, _jobName, _origin, _processId, _jobASID,
      _serverInstanceName;
  ZOVTime _second;  // that _timeStamp was made of
  int _severity = 0;
  int _logEventSampleSeqNum = -1;
};

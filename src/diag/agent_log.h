#pragma once
// ZOV_Agent_Log: the one object through which a numbered message is issued. A message goes to the trace (as
// UTF-8 with the error bit, in the local code page with the message bit) and to the receiver of messages,
// which publishes it; the log keeps no file of its own.
//
//   ZOV_LOG_MESSAGE(ZOVA0017I, serverName);
//   ZOV_LOG_ERROR(ZOVA0030E, "pipe", reason);
//
// Numbers, severities, parameter kinds and texts stand in runtime/messages.def. Text arguments are UTF-8. An
// argument too few shows as "(null)", one too many is ignored, and one of another kind than the message's is
// shown in its own way. Any thread may issue a message; nothing here fails towards the caller.
//
// Texts may come from outside, and peers can cause messages: so a text is cut at 512 bytes (at less, when the
// message would not fit otherwise), and of each number ten messages are issued in a second. How many were
// left out is told with the next message that is issued, of whatever number.

#include <array>
#include <ctime>
#include <span>

#include "diag/messages.h"
#include "foundation/string.h"
#include "platform/message_rate.h"
#include "platform/trace.h"
#include "runtime/environment.h"
#include "runtime/trace_scope.h"

/// Takes issued messages, e.g. to publish them as events. Called on the issuing thread.
class ZOVMessageReceiver {
 public:
  virtual ~ZOVMessageReceiver() = default;
  /// `file` and `function` are in the local code page; `message` is UTF-8, begins with its identifier, and is
  /// empty when its text could not be formed. `severity` is a ZOVMessageSeverity.
  virtual int postProductEvent(const char* file, const char* function, int line, const struct tm* when,
                               int severity, const char* message) = 0;
};

/// Base of logs: numbers its messages through a table of names (not owned).
class ZOV_Log {
 public:
  ZOV_Log(const char* const* names, int size) : _names(names), _size(size) {}
  virtual ~ZOV_Log() = default;
  ZOV_Log(const ZOV_Log&) = delete;
  ZOV_Log& operator=(const ZOV_Log&) = delete;

  /// Issues a message. `file` is the tag of the issuing source file, `message` a number, and the arguments
  /// (numbers, `const char*` or RWCString) fill the message's parameters in order.
  template <class... A>
  void LogMessage(const char* file, const char* function, int line, int message, const A&... a) const {
    issue(file, function, line, message, false, a...);
  }
  /// As LogMessage, marked as an error.
  template <class... A>
  void LogError(const char* file, const char* function, int line, int message, const A&... a) const {
    issue(file, function, line, message, true, a...);
  }

  virtual void SendMessage(const char* file, const char* function, int line, int message,
                           std::span<const DGT1_Arg> arguments, bool isError) const;
  virtual void SendMessage(const char* /*file*/, const char* /*function*/, int /*line*/, const char* /*name*/,
                           std::span<const DGT1_Arg> /*arguments*/, bool /*isError*/) const {}

 private:
  template <class T>
  static DGT1_Arg argument(const T& value) {
    if constexpr (std::is_base_of_v<RWCString, T>) {
      return DGT1_Arg(value.data());
    } else {
      return DGT1_Arg(value);
    }
  }
  template <class... A>
  void issue(const char* file, const char* function, int line, int message, bool isError,
             const A&... a) const {
    const DGT1_Arg arguments[] = {DGT1_Arg(0), argument(a)...};
    SendMessage(file, function, line, message, std::span(arguments + 1, sizeof...(a)), isError);
  }

  const char* const* _names;
  int _size;
};

class ZOV_Agent_Log : public ZOV_Log {
 public:
  /// Keeps references to both, which must outlive it, and uses neither before the first message.
  ZOV_Agent_Log(const ZOV_Agent_Log_Messages& messages, ZOVMessageReceiver& receiver)
      : ZOV_Log(nullptr, 0), _messages(messages), _receiver(receiver) {}

  using ZOV_Log::SendMessage;
  /// Drops a number that is not in the table.
  void SendMessage(const char* file, const char* function, int line, int message,
                   std::span<const DGT1_Arg> arguments, bool isError) const override;

 private:
  using Text = char[ZOV_Agent_Log_Messages::ResultSize];
  void form(const ZOVMessageRow& row, std::span<const DGT1_Arg> arguments, std::size_t most, Text& text,
            Text& localText) const;
  void tellLeftOut(const char* file, const char* function, int line) const;
  void publish(const char* file, const char* function, int line, ZOVMessageSeverity severity,
               const char* text, const char* localText) const;

  const ZOV_Agent_Log_Messages& _messages;
  ZOVMessageReceiver& _receiver;
  mutable std::array<zov::MessageRate, ZOVMessageCount> _rates;  // by number
};

namespace zov_detail {
template <class... A>
void logMessage(const char* tag, const char* function, int line, int message, const A&... a) {
  if (ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    environment->log().LogMessage(tag, function, line, message, a...);
  }
}
template <class... A>
void logError(const char* tag, const char* function, int line, int message, const A&... a) {
  if (ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load()) {
    environment->log().LogError(tag, function, line, message, a...);
  }
}
}  // namespace zov_detail

/// Issues a message through the process's environment, when there is one, from a function that has opened
/// with ZOV_TRACE: ZOV_LOG_MESSAGE(ZOVA0017I, arguments...).
#define ZOV_LOG_MESSAGE(message, ...) \
  zov_detail::logMessage(ZOV_PLACE, __LINE__, message __VA_OPT__(, ) __VA_ARGS__)
#define ZOV_LOG_ERROR(message, ...) \
  zov_detail::logError(ZOV_PLACE, __LINE__, message __VA_OPT__(, ) __VA_ARGS__)

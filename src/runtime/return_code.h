#pragma once
// ZOVReturnCode: the result of operations that can fail; 0 is success. A value type, comparable with the
// plain numbers of return_codes.def.

#include <cstddef>

class ZOVReturnCode {
 public:
  using _ReturnCode = unsigned int;
  static constexpr unsigned int Count = 180;
  /// The texts by code, exactly Count of them; an empty string where a code has no meaning.
  static const char* const* const Descriptions;

  ZOVReturnCode(unsigned int code = 0) : _code(code) {}  // NOLINT: implicit on purpose
  operator unsigned int() const { return _code; }        // NOLINT: implicit on purpose

  /// The text of the code in the reader's language, from the environment's catalogue when there is one. Never
  /// null: at worst the key, such as "ZOVR0042". Good until the calling thread's second next call.
  const char* getDescription() const { return getDescription(_code); }
  static const char* getDescription(unsigned int code);
  /// Traces the whole table, from the program and from the catalogue; does nothing without the error bit.
  static void print();

 private:
  unsigned int _code;
};

/// The codes that the code names. The full list is return_codes.def.
enum ZOVCode : unsigned int {
  ZOV_OK = 0,
  ZOV_FOUNDATION_STORAGE = 1,
  ZOV_PROGRAM_EXCEPTION = 2,
  ZOV_OUT_OF_STORAGE = 3,
  ZOV_TOO_MANY_LOCKS = 4,
  ZOV_EXCEPTION_CAUGHT = 5,
  ZOV_DEADLOCK_AVERTED = 6,
  ZOV_NO_SUCH_SERVER = 7,
  ZOV_NO_SUCH_RESOURCE = 9,
  ZOV_SOCKET_NOT_CONNECTED = 11,
  ZOV_SOCKET_ERROR = 15,
  ZOV_SOCKET_TERMINATED = 16,
  ZOV_INVALID_RESPONSE = 18,
  ZOV_INVALID_DATA = 19,
  ZOV_PROFILING_NOT_ACTIVE = 21,
  ZOV_SOCKET_DENIED = 22,
  ZOV_SOCKET_NO_DESCRIPTOR = 23,
  ZOV_SOCKET_NO_MEMORY = 24,
  ZOV_SOCKET_NO_STREAMS = 25,
  ZOV_SOCKET_NO_PROTOCOL = 26,
  ZOV_SOCKET_INTERRUPTED = 27,
  ZOV_SOCKET_TOO_LONG = 28,
  ZOV_SOCKET_IO_ERROR = 29,
  ZOV_SOCKET_TIMED_OUT = 30,
  ZOV_SOCKET_CLOSED = 33,
  ZOV_PSI_NOT_ACTIVE = 34,
  ZOV_SERVER_EXCLUDED = 35,
  ZOV_SUBNODE_REGISTRATION = 36,
  ZOV_SERVER_NOT_ACTIVE = 41,
  ZOV_UNABLE_TO_OPEN_FILE = 42,
  ZOV_UNABLE_TO_START_PROCESS = 43,
  ZOV_BROKEN_PIPE = 44,
  ZOV_EVENT_ERROR = 45,
  ZOV_INVALID_COMMAND = 52,
  ZOV_SERVER_NOT_STOPPED = 53,
  ZOV_RECOVERABLE_JAVA_EXCEPTION = 61,
  ZOV_PROFILER_LEVEL = 104,
  ZOV_WORKLOAD_LEVEL = 105,
  ZOV_NO_GC_FILE = 116,
  ZOV_NO_REMOTE_CONTACT = 137,
  ZOV_CLIENT_EXISTS = 138,
  ZOV_UNEXPECTED_DATA = 139,
  ZOV_CLIENT_NOT_CONNECTED = 140,
  ZOV_NO_REMOTE_JVM = 141,
  ZOV_CLIENT_EXCEPTION = 142,
  ZOV_NO_HISTORY = 149,
  ZOV_CLIENT_NOT_INITIALIZED = 151,
  ZOV_NO_SUBTASK = 156,
  ZOV_NOT_AUTHENTICATED = 166,
  ZOV_STATISTICS_TIMED_OUT = 169,
  ZOV_TASK_SHUTTING_DOWN = 171,
  ZOV_NOT_MATCHING_PING = 173,
  ZOV_PING_NOT_EXPECTED = 174,
  ZOV_SUBNODE_NOT_UNIQUE = 175,
  ZOV_COMMAND_QUEUED = 176,
  ZOV_NO_RESOURCE_MANAGER = 177,
  ZOV_RESOURCE_COLLECTION_SUSPENDED = 178,
  ZOV_REQUEST_COLLECTION_SUSPENDED = 179,
};

#include "runtime/process_cpu.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "platform/trace.h"
#include "runtime/environment.h"
#include "runtime/message_numbers.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCPCPU");

namespace {

constexpr std::size_t StatCapacity = 3839;
constexpr std::uint64_t ClockTicksPerSecond = 100;
constexpr int FieldsBeforeUserTime = 11;  // state to cmajflt

void reportFailure(int line, const char* operation, const char* path, const char* reason) {
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (!environment) return;
  const std::string function = std::string(operation) + path;
  const DGT1_Arg arguments[] = {function.c_str(), reason};
  environment->services().logError(traceUnit.tag(), "zovProcessCPUUsage", line, ZOVA0030E, arguments);
}

/// Reads what the descriptor has, up to the capacity. 0 after a failure, which has been reported.
std::size_t readStat(int descriptor, const char* path, char* text) {
  std::size_t length = 0;
  while (length < StatCapacity) {
    const ssize_t count = read(descriptor, text + length, StatCapacity - length);
    if (count > 0) {
      length += static_cast<std::size_t>(count);
    } else if (count == 0) {
      if (length == 0) reportFailure(__LINE__, "read ", path, "Unexpected end-of-file");
      break;
    } else if (errno != EINTR) {
      reportFailure(__LINE__, "read ", path, std::strerror(errno));
      return 0;
    }
  }
  return length;
}

/// Takes the next number off the text. False when there is none.
template <class T>
bool takeNumber(std::string_view& text, T& number) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return error == std::errc();
}

void skipField(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text.remove_prefix(std::min(text.find(' '), text.size()));
}

}  // namespace

std::int64_t zovParseProcessStat(std::string_view text, unsigned int processId) {
  std::string_view head = text;
  unsigned int pid = 0;
  // The command's name, in parentheses, may hold ")" and blanks itself.
  const std::size_t nameEnd = text.rfind(')');
  if (nameEnd == std::string_view::npos || !takeNumber(head, pid) || pid != processId) return -1;
  std::string_view fields = text.substr(nameEnd + 1);
  for (int i = 0; i < FieldsBeforeUserTime; ++i) skipField(fields);
  std::uint64_t userTime = 0;
  std::uint64_t systemTime = 0;
  if (!takeNumber(fields, userTime) || !takeNumber(fields, systemTime)) return -1;
  return static_cast<std::int64_t>((userTime + systemTime) * 1000 / ClockTicksPerSecond);
}

std::int64_t zovProcessCPUUsage(unsigned int processId) {
  ZOV_TRACE(Restricted);
  if (processId == 0) return -1;
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%u/stat", processId);
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    reportFailure(__LINE__, "open ", path, std::strerror(errno));
    return -1;
  }
  char text[StatCapacity];
  const std::size_t length = readStat(descriptor, path, text);
  close(descriptor);
  if (length == 0) return -1;
  const std::int64_t usage = zovParseProcessStat(std::string_view(text, length), processId);
  if (usage < 0) DGT1_Printf(traceUnit, DGT1_DETAIL, "Data read from %s is invalid", path);
  return usage;
}

std::int64_t zovNumProcessors() {
  static const std::int64_t processors = [] {
    const std::int64_t count = std::max(1L, sysconf(_SC_NPROCESSORS_CONF));
    DGT1_Printf(traceUnit, DGT1_DETAIL, "The number of detected processors is %i", count);
    return count;
  }();
  return processors;
}

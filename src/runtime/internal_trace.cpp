#include "runtime/internal_trace.h"

#include <algorithm>
#include <cstring>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCITRC");

namespace {
template <std::size_t N>
void copyCut(char (&to)[N], const char* from) {
  const std::size_t length = from != nullptr ? strnlen(from, N - 1) : 0;
  if (length != 0) std::memcpy(to, from, length);
  to[length] = '\0';
}
}  // namespace

void ZOVInternalTraceEntry::set(const char* tag, const char* function, int type, long parameter) {
  copyCut(_tag, tag);
  copyCut(_function, function);
  _type = type;
  _parameter = static_cast<unsigned int>(parameter);
}

bool ZOVStackTraceEntry::operator==(const ZOVStackTraceEntry& other) const {
  return std::strcmp(getTag(), other.getTag()) == 0 && std::strcmp(getFunction(), other.getFunction()) == 0;
}

ZOVInternalTraceTable::ZOVInternalTraceTable(int size)
    : _ring(static_cast<std::size_t>(std::max(size, 1))), _stack(_ring.size()) {}

void ZOVInternalTraceTable::save(const char* tag, const char* function, int type, long parameter) {
  const zov::MutexLock lock(_mutex);
  _ring[_cursor].set(tag, function, type, parameter);
  if (++_cursor == _ring.size()) {
    _cursor = 0;
    _wrapped = true;
  }
  if (type == 0) {
    if (_depth == _stack.size()) return;
    _stack[_depth].set(tag, function, type, parameter);
    _stack[_depth]._level = static_cast<int>(_depth);
    ++_depth;
    return;
  }
  ZOVStackTraceEntry left;
  left.set(tag, function, type, parameter);
  while (_depth > 0 && !(_stack[--_depth] == left)) {
  }
}

void ZOVInternalTraceTable::printRange(std::size_t from, std::size_t to) const {
  for (std::size_t i = from; i < to; ++i) {
    const ZOVInternalTraceEntry& entry = _ring[i];
    DGT1_Printf(traceUnit, DGT1_ERROR, "Trace Entry: File: %s  Function: %s   Type: %s  Parm: 0X%8X ",
                entry.getTag(), entry.getFunction(), entry.getType() == 0 ? "Entry" : "Exit",
                entry.getParameter());
  }
}

void ZOVInternalTraceTable::print() const {
  const zov::MutexLock lock(_mutex);
  if (_wrapped) printRange(_cursor, _ring.size());
  printRange(0, _cursor);
}

void ZOVInternalTraceTable::printStackDump() const {
  const zov::MutexLock lock(_mutex);
  for (std::size_t i = _depth; i > 0; --i) {
    const ZOVStackTraceEntry& entry = _stack[i - 1];
    DGT1_Printf(traceUnit, DGT1_ERROR, "%3i %s %s", entry._level, entry.getTag(), entry.getFunction());
  }
}

int ZOVInternalTraceTable::getSourceFileAndFunctionName(RWCString& tag, RWCString& function,
                                                        int depth) const {
  const zov::MutexLock lock(_mutex);
  if (depth < 0 || static_cast<std::size_t>(depth) >= _depth) return 0;
  const ZOVStackTraceEntry& entry = _stack[_depth - 1 - static_cast<std::size_t>(depth)];
  tag = RWCString(entry.getTag());
  function = RWCString(entry.getFunction());
  return 1;
}

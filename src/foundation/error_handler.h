#pragma once
// The error path of the foundation: an index out of range or a failed allocation goes to the one installed
// handler, which may raise. When it returns, the operation goes on with the nearest defined result (an empty
// character, a null member, nothing done).

#include <memory>
#include <new>
#include <utility>

struct RWxmsg {
  const char* text;
};
using RWErrorHandler = void (*)(const RWxmsg&);

/// Installs the handler and answers the former one; null means that errors are ignored.
RWErrorHandler rwSetErrHandler(RWErrorHandler handler);
void rwReportError(const char* text);

/// Carries out what takes storage. False where there is none: the handler has been told, and nothing is done.
template <class Operation>
bool rwTakingStorage(Operation&& operation) {
  try {
    operation();
    return true;
  } catch (const std::bad_alloc&) {  // left before the report, since no raise may jump out of it
  }
  rwReportError("storage cannot be had");
  return false;
}

/// A new object of the foundation's own. Where there is no storage and the handler returns, std::bad_alloc.
template <class Object, class... Arguments>
std::unique_ptr<Object> rwMake(Arguments&&... arguments) {
  std::unique_ptr<Object> made;
  if (rwTakingStorage([&] { made = std::make_unique<Object>(std::forward<Arguments>(arguments)...); })) {
    return made;
  }
  throw std::bad_alloc();
}

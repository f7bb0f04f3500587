#pragma once
// The error path of the foundation: an index out of range or a failed allocation goes to the one installed
// handler, which may raise. When it returns, the operation goes on with the nearest defined result (an empty
// character, a null member, nothing done).

struct RWxmsg {
  const char* text;
};
using RWErrorHandler = void (*)(const RWxmsg&);

/// Installs the handler and answers the former one; null means that errors are ignored.
RWErrorHandler rwSetErrHandler(RWErrorHandler handler);
void rwReportError(const char* text);

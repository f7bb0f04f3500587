#include "collectors/diagnostics.h"

#include "diag/utf8_handler.h"

void ZOVDiagnostics::logError(const char* file, const char* function, int line, int message,
                              std::span<const DGT1_Arg> arguments) {
  _log.SendMessage(file, function, line, message, arguments, true);
}

void ZOVDiagnostics::retrieveString(char* result, char* localResult, int size, const char* const* table,
                                    const char* prefix, int number) {
  _messages.RetrieveString2(result, localResult, size, table, prefix, number);
}

RWCString ZOVDiagnostics::fromLocal(const char* localText) {
  return ZOVUTF8Handler::createFromLocalString(localText);
}

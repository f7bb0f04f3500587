#pragma once
// ZOVException: a raised failure, told to a recovery frame. A value type, copied freely.

#include "runtime/return_code.h"

class ZOVException {
 public:
  enum _DumpOption { DumpWhenDisplayed = 0, NoDump = 1 };
  enum _Severity { Informational = 0, Warning = 1, Error = 2 };
  enum _ShouldDisplayMessage { Display = 0, DoNotDisplay = 1 };

  ZOVException() = default;
  /// One that the thread may not go on from; displayed as an error, without a dump.
  ZOVException(const ZOVReturnCode& code) : _returnCode(code) {}  // NOLINT: implicit on purpose
  ZOVException(const ZOVReturnCode& code, bool recoverable, unsigned long parameter, _DumpOption dump,
               _Severity severity, _ShouldDisplayMessage display)
      : _returnCode(code),
        _recoverable(recoverable),
        _dumpOption(dump),
        _severity(severity),
        _shouldDisplay(display),
        _parameter(parameter) {}
  /// A failure that the thread may go on from; displayed as an error, without a dump.
  static ZOVException recoverable(const ZOVReturnCode& code) {
    return {code, true, 0, NoDump, Error, Display};
  }
  /// What a frame makes of a fault or a foreign exception: code 5, with a dump when it is displayed.
  static ZOVException caught(unsigned long raiseCode) {
    return {ZOV_EXCEPTION_CAUGHT, false, raiseCode, DumpWhenDisplayed, Error, Display};
  }
  virtual ~ZOVException() = default;
  ZOVException(const ZOVException&) = default;
  ZOVException& operator=(const ZOVException&) = default;

  ZOVReturnCode getReturnCode() const { return _returnCode; }
  const char* getExceptionType() const { return _returnCode.getDescription(); }
  bool isRecoverable() const { return _recoverable; }
  bool isLogged() const { return _logged; }
  void setLogged() { _logged = true; }
  _DumpOption getDumpOption() const { return _dumpOption; }
  _Severity getSeverity() const { return _severity; }
  _ShouldDisplayMessage getShouldDisplay() const { return _shouldDisplay; }
  unsigned long getParameter() const { return _parameter; }

 private:
  ZOVReturnCode _returnCode;
  bool _recoverable = false;
  bool _logged = false;
  _DumpOption _dumpOption = NoDump;
  _Severity _severity = Error;
  _ShouldDisplayMessage _shouldDisplay = Display;
  unsigned long _parameter = 0;
};

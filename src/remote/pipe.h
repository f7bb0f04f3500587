#pragma once
// ZOVPipe: a pipe, with descriptors that no child inherits by itself. It owns both ends, and closes what is
// still open when it goes. Failures are logged (ZOVA0030E), and answer 44. One thread at a time.

#include "foundation/string.h"
#include "runtime/return_code.h"

class ZOVPipe {
 public:
  /// Both ends are closed when no pipe can be made.
  ZOVPipe();
  virtual ~ZOVPipe();
  ZOVPipe(const ZOVPipe&) = delete;
  ZOVPipe& operator=(const ZOVPipe&) = delete;

  /// Appends what can be read without a wait, up to ReadBytes or the end of the stream, where it closes the
  /// read end.
  ZOVReturnCode Read(RWCString* text);
  ZOVReturnCode Write(const RWCString* text);
  ZOVReturnCode closeReadEnd() { return destroy(&_readEnd); }
  ZOVReturnCode closeWriteEnd() { return destroy(&_writeEnd); }
  /// Closes the descriptor and sets it to 0; nothing when it is 0.
  ZOVReturnCode destroy(int* descriptor);

  int readEnd() const { return _readEnd; }    ///< 0 when closed
  int writeEnd() const { return _writeEnd; }  ///< 0 when closed

  static constexpr std::size_t ReadBytes = 65536;
  /// Ends have numbers from here on, so that a child can be given them under lower ones in any order.
  static constexpr int LowestDescriptor = 10;

 private:
  int _readEnd = 0;
  int _writeEnd = 0;
};

#pragma once
// ZOVUTF8Handler: character-aware operations on a UTF-8 text, and the conversions to and from the host's code
// page at the agent's edges (paths, command lines, host names, trace). Where the host names no better code
// page, its texts are taken as UTF-8. Bytes that are not valid are replaced in a conversion, never refused;
// the operations on characters stay within the text whatever its bytes are.
//
// Value class without shared state; the native code page is asked for once per process.

#include <string_view>

#include "foundation/string.h"
#include "runtime/memory_manager.h"

class ZOVUTF8Handler : public ZOVMemoryManager {
 public:
  enum _truncateDirection { TruncateFront = 0, TruncateEnd = 1 };

  explicit ZOVUTF8Handler(const RWCString& text) : _text(text), _present(true) {}
  explicit ZOVUTF8Handler(const RWCString* text) : _text(text ? *text : RWCString()), _present(text) {}
  explicit ZOVUTF8Handler(const char* text) : _text(text), _present(text) {}

  static const RWCString defaultMBSubstituteString;  ///< "?"

  bool containsDBCharacters() const;  ///< a byte with the top bit set occurs
  unsigned int getNumChars() const;
  /// The length in bytes that a lead byte announces, 1 to 6.
  static unsigned int getLengthOfChar(const unsigned char* lead);
  /// `count` characters from character `start`; cut at the end.
  RWCString substr(unsigned int start, unsigned int count) const;
  char operator()(unsigned int byte) const { return _text[byte]; }

  static RWCString createFromLocalString(const char* localText);
  RWCString convertToLocalString() const;
  /// As convertToLocalString, with `substitute` for each character that has no single-byte form there.
  RWCString convertToSBLocalString(const char* substitute) const;
  /// Converts `sourceLength` bytes into at most `maxSize`. Code pages are ids of platform/language.h; the
  /// labels are for the trace. What cannot be translated gives an empty answer.
  static RWCString translateString(const char* source, int sourceLength, long sourceCodePage,
                                   long targetCodePage, const char* sourceLabel, const char* targetLabel,
                                   int maxSize);
  static long getNativeLNG2CodePageConstant();

  /// At most `maximum` bytes of the text, cut at the named end, with no character split.
  RWCString safelyTruncate(unsigned int maximum, _truncateDirection direction) const;
  /// The same as a part of `text`, for callers that copy it anyway.
  static std::string_view truncated(std::string_view text, std::size_t maximum, _truncateDirection direction);

 private:
  RWCString _text;
  bool _present;  // false: made of a null pointer
};

/// Renders any bytes as ASCII for trace into the caller's buffer: "<00E9>" for a character, "<err80>" for a
/// byte that is part of none, "<lf=0A>" for a control byte. A length of 0 means that a zero byte ends the
/// text. The result is at most 1,024 bytes and a zero byte; no rendering is cut in its middle.
class ZOVDebug_PrintUTF8 {
 public:
  static constexpr std::size_t MaximumLength = 1024;
  using Buffer = char[MaximumLength + 1];

  ZOVDebug_PrintUTF8(Buffer& buffer, const char* text, std::size_t length = 0);
  const char* data() const { return _buffer; }

 private:
  const char* _buffer;
};

void ZOVSleep(int seconds);
/// Writes "errno=%i" and the system's text of `error`, or of errno when it is 0.
void ZOVGetLastError(RWCString* text, int error);

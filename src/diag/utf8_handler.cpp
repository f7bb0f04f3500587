#include "diag/utf8_handler.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/language.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCUTF8");

const RWCString ZOVUTF8Handler::defaultMBSubstituteString = "?";

namespace {

struct LeadLength {
  unsigned char threshold;
  unsigned int length;
};
constexpr LeadLength UTF8CharTable[] = {{0xFC, 6}, {0xF8, 5}, {0xF0, 4}, {0xE0, 3}, {0xC0, 2}};

constexpr int MaximumContinuationBytes = 5;

bool isContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

bool isAscii(std::string_view text) {
  return std::ranges::none_of(text, [](char byte) { return (static_cast<unsigned char>(byte) & 0x80) != 0; });
}

unsigned int lengthAt(std::string_view text, std::size_t position) {
  const auto* lead = reinterpret_cast<const unsigned char*>(text.data()) + position;
  return ZOVUTF8Handler::getLengthOfChar(lead);
}

/// The length of a text as a conversion takes it, and of the longest result that it can have.
int boundedLength(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, INT_MAX / 4));
}
constexpr int LargestGrowth = 4;

}  // namespace

bool ZOVUTF8Handler::containsDBCharacters() const {
  return !isAscii(_text.view());
}

unsigned int ZOVUTF8Handler::getLengthOfChar(const unsigned char* lead) {
  for (const LeadLength& row : UTF8CharTable) {
    if (*lead >= row.threshold) return row.length;
  }
  return 1;
}

unsigned int ZOVUTF8Handler::getNumChars() const {
  unsigned int characters = 0;
  for (std::size_t at = 0; at < _text.length(); at += lengthAt(_text.view(), at)) ++characters;
  return characters;
}

RWCString ZOVUTF8Handler::substr(unsigned int start, unsigned int count) const {
  const std::string_view text = _text.view();
  const auto skip = [&](std::size_t at, unsigned int characters) {
    while (characters-- > 0 && at < text.size()) at += lengthAt(text, at);
    return std::min(at, text.size());
  };
  const std::size_t first = skip(0, start);
  return RWCString(text.substr(first, skip(first, count) - first));
}

long ZOVUTF8Handler::getNativeLNG2CodePageConstant() {
  static const long nativeCodePage = LNG2_NativeCodepageId();
  return nativeCodePage;
}

RWCString ZOVUTF8Handler::createFromLocalString(const char* localText) {
  ZOV_TRACE(Minor);
  if (!localText) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Input native string is NULL. Empty UTF8 string created");
    return RWCString();
  }
  const std::string_view text = localText;
  if (text.empty()) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Input native string is empty. Empty UTF8 string created");
    return RWCString();
  }
  if (isAscii(text)) return RWCString(text);  // the same in every code page of this platform
  const int length = boundedLength(text.size());
  const int maximum = length * LargestGrowth;
  DGT1_Printf(traceUnit, DGT1_DETAIL,
              "Converting native string to UTF8 string. Max size UTF8 string (bytes): %d", maximum);
  return translateString(localText, length, getNativeLNG2CodePageConstant(), LNG2_UTF8, "Native", "UTF8",
                         maximum);
}

RWCString ZOVUTF8Handler::convertToLocalString() const {
  ZOV_TRACE(Minor);
  if (!_present) {
    DGT1_Printf(traceUnit, DGT1_DETAIL,
                "Invalid ZOVUTF8Handler state: pString is NULL. Conversion not performed");
    return RWCString();
  }
  if (_text.isNull()) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "UTF8 string is empty. Conversion not performed");
    return RWCString();
  }
  if (isAscii(_text.view())) return _text;
  const int length = boundedLength(_text.length());
  return translateString(_text.data(), length, LNG2_UTF8, getNativeLNG2CodePageConstant(), "UTF8", "Native",
                         length * LargestGrowth);
}

RWCString ZOVUTF8Handler::convertToSBLocalString(const char* substitute) const {
  ZOV_TRACE(Minor);
  if (!containsDBCharacters()) return _text;
  const std::string_view text = _text.view();
  RWCString result;
  std::size_t next = 0;
  for (std::size_t at = 0; at < text.size(); at = next) {
    next = std::min(at + lengthAt(text, at), text.size());
    if (isAscii(text.substr(at, next - at))) {
      result.append(text[at]);
      continue;
    }
    int status = 0;
    const std::string local =
        LNG2_TranslateString(getNativeLNG2CodePageConstant(), text.data() + at, next - at, LNG2_UTF8, "",
                             MaximumContinuationBytes + 1, &status);
    if (status <= 0 && local.size() == 1) {
      result.append(local);
    } else {
      result.append(substitute ? substitute : "");
    }
  }
  return result;
}

RWCString ZOVUTF8Handler::translateString(const char* source, int sourceLength, long sourceCodePage,
                                          long targetCodePage, const char* sourceLabel,
                                          const char* targetLabel, int maxSize) {
  ZOV_TRACE(Minor);
  DGT1_Printf(traceUnit, DGT1_DETAIL,
              "Translating %s string: code page %ld, size %d; %s string: code page %ld, size %d", sourceLabel,
              sourceCodePage, sourceLength, targetLabel, targetCodePage, maxSize);
  if (sourceCodePage < 1 || targetCodePage < 1) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Not translatable. Code page not defined");
    return RWCString();
  }
  if (!source) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Not translatable. %s String is NULL", sourceLabel);
    return RWCString();
  }
  if (sourceLength < 0 || maxSize < 1) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Not translatable. Invalid %s string buffer size: %d",
                sourceLength < 0 ? sourceLabel : targetLabel, sourceLength < 0 ? sourceLength : maxSize);
    return RWCString();
  }
  if (sourceLength == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Not translatable. %s String is empty", sourceLabel);
    return RWCString();
  }
  int status = 0;
  RWCString result(LNG2_TranslateString(targetCodePage, source, static_cast<std::size_t>(sourceLength),
                                        sourceCodePage, defaultMBSubstituteString.data(),
                                        static_cast<std::size_t>(maxSize), &status));
  DGT1_Printf(traceUnit, DGT1_DETAIL, "%s string of %d bytes, status %d", targetLabel, result.length(),
              status);
  return result;
}

std::string_view ZOVUTF8Handler::truncated(std::string_view text, std::size_t maximum,
                                           _truncateDirection direction) {
  if (text.size() <= maximum) return text;
  int steps = MaximumContinuationBytes;  // of text that is no UTF-8 nothing more is lost
  if (direction == TruncateFront) {
    std::size_t start = text.size() - maximum;
    while (start < text.size() && isContinuation(text[start]) && steps-- > 0) ++start;
    return text.substr(start);
  }
  std::size_t lead = maximum;
  while (lead > 0 && isContinuation(text[lead]) && steps-- > 0) --lead;
  return text.substr(0, isContinuation(text[lead]) ? maximum : lead);
}

RWCString ZOVUTF8Handler::safelyTruncate(unsigned int maximum, _truncateDirection direction) const {
  return RWCString(truncated(_text.view(), maximum, direction));
}

namespace {

/// How one byte shows: a control byte by its name, printable ASCII as it stands, any other as an error.
struct DumpChar {
  char text[9] = {};
};

consteval std::array<DumpChar, 256> dumpChars() {
  constexpr const char* names[] = {"nul", "soh", "stx", "etx", "eot", "enq", "ack", "bel",
                                   "bs",  "ht",  "lf",  "vt",  "ff",  "cr",  "so",  "si",
                                   "dle", "dc1", "dc2", "dc3", "dc4", "nak", "syn", "etb",
                                   "can", "em",  "sub", "esc", "fs",  "gs",  "rs",  "us"};
  constexpr char digits[] = "0123456789ABCDEF";
  std::array<DumpChar, 256> rows{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    char* out = rows[byte].text;
    const auto put = [&out](const char* text) {
      while (*text) *out++ = *text++;
    };
    const char hex[] = {digits[byte >> 4], digits[byte & 15], '>', 0};
    if (byte < 0x20 || byte == 0x7F) {
      put("<"), put(byte == 0x7F ? "del" : names[byte]), put("="), put(hex);
    } else if (byte < 0x7F) {
      *out = static_cast<char>(byte);
    } else {
      put("<err"), put(hex);
    }
  }
  return rows;
}
constexpr std::array<DumpChar, 256> pcDumpChar = dumpChars();

constexpr unsigned long SmallestOfLength[] = {0, 0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};

/// Decodes the multi-byte form at the start of `bytes`. False for a single byte and for a form that is short,
/// broken or longer than its value needs.
bool decode(std::string_view bytes, unsigned int length, unsigned long& value) {
  const auto lead = static_cast<unsigned char>(bytes[0]);
  if (length < 2 || lead >= 0xFE || bytes.size() < length) return false;
  value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(bytes[i])) return false;
    value = (value << 6) | (static_cast<unsigned char>(bytes[i]) & 0x3FU);
  }
  return value >= SmallestOfLength[length];
}

}  // namespace

ZOVDebug_PrintUTF8::ZOVDebug_PrintUTF8(Buffer& buffer, const char* text, std::size_t length)
    : _buffer(buffer) {
  std::string_view rest = !text ? std::string_view() : length ? std::string_view(text, length) : text;
  std::size_t used = 0;
  while (!rest.empty()) {
    unsigned int consumed = lengthAt(rest, 0);
    unsigned long value = 0;
    char decoded[16];
    const char* shown = decoded;
    if (decode(rest, consumed, value)) {
      std::snprintf(decoded, sizeof decoded, consumed > 3 ? "<%08lX>" : "<%04lX>", value);
    } else {
      consumed = 1;
      shown = pcDumpChar[static_cast<unsigned char>(rest[0])].text;
    }
    const std::size_t size = std::strlen(shown);
    if (used + size > MaximumLength) break;
    std::memcpy(buffer + used, shown, size);
    used += size;
    rest.remove_prefix(consumed);
  }
  buffer[used] = '\0';
}

void ZOVSleep(int seconds) {
  if (seconds > 0) OSL1_Sleep(static_cast<unsigned int>(seconds));
}

void ZOVGetLastError(RWCString* text, int error) {
  if (error == 0) error = errno;
  *text = RWCString(DGT1_FormatText("errno=%i %s", error, std::strerror(error)));
}

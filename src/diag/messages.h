#pragma once
// ZOV_Agent_Log_Messages: the catalogue of numbered messages. It finds a text in a translated bundle when one
// could be opened, keeps the English text of the program as fallback, and fills in the parameters. The answer
// comes in two forms: UTF-8 in the reader's language, and English in the local code page.
//
// The bundle's directory is ZOV_RB_PATH, else LNG1_LOCALEDIR/zovmsg, else ./rb/zovmsg; its keys are like
// "ZOVA0002" and, for return codes, "ZOVR0005". ZOV_LOCALE (set to anything) takes the locale from the ids in
// ZOV_LOCALE_LANGID and ZOV_LOCALE_CODEPAGEID instead of the system's default. A catalogue that cannot be
// opened is no error: the agent runs in English.
//
// Any thread may retrieve; one mutex serialises the converters, which are not thread-safe. No failure is
// visible outside the trace but as an empty result.

#include <unicode/ucnv.h>

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "foundation/string.h"
#include "platform/language.h"
#include "runtime/mutex.h"

/// The number in a message key such as "ZOVA0084E".
constexpr int zovMessageNumber(std::string_view key) {
  int number = 0;
  for (char digit : key.substr(4, 4)) number = number * 10 + (digit - '0');
  return number;
}

/// The messages by name: ZOVA0001I is 1, ZOVA0084E is 84.
enum ZOVMessageNumber : int {
#define ZOV_MESSAGE(key, severity, parameters, text) key = zovMessageNumber(#key),
#include "diag/messages.def"
};

enum class ZOVMessageSeverity : int { I = 0, W = 1, E = 2, S = 3 };

struct ZOVMessageRow {
  int number;
  ZOVMessageSeverity severity;
  std::string_view parameters;  ///< a letter each: t text, n number, x hexadecimal number; at most 10
};
/// The row of a message, or null for a number that has none.
const ZOVMessageRow* zovFindMessage(int number);

/// The English texts by number, each beginning with its key; empty where there is no message.
constexpr int ZOVMessageCount = 155;
extern const std::array<const char*, ZOVMessageCount> zovenu;

class ZOV_Agent_Log_Messages {
 public:
  static constexpr int MaximumParameters = 10;
  static constexpr int ResultSize = 2048;  ///< what a result buffer should hold, with its zero byte

  ZOV_Agent_Log_Messages() = default;
  virtual ~ZOV_Agent_Log_Messages();
  ZOV_Agent_Log_Messages(const ZOV_Agent_Log_Messages&) = delete;
  ZOV_Agent_Log_Messages& operator=(const ZOV_Agent_Log_Messages&) = delete;

  /// Opens the bundle and the converters, after closing what was open. The prefix is not used.
  void open() { open("ZOVA"); }
  void open(const char* prefix);

  /// Forms the message `prefix` and `number` with its parameters (UTF-8; null leaves its placeholder): the
  /// translated text into `result` in UTF-8, and `table[number]` into `localResult` in the local code page,
  /// at most `size` - 1 bytes each and a zero byte. A text that does not fit, or any other failure, leaves
  /// both empty.
  virtual void RetrieveMessage2(char* result, char* localResult, int size, const char* const* table,
                                const char* prefix, int number,
                                std::span<const char* const> parameters) const;
  /// As RetrieveMessage2, without parameters or formatting.
  virtual void RetrieveString2(char* result, char* localResult, int size, const char* const* table,
                               const char* prefix, int number) const;
  /// Traces all messages, as the program has them and as the bundle has them.
  virtual void print() const;

 private:
  struct Text16;
  struct Wording;
  void close();
  void openLocale();
  void openBundle();
  Text16 findTranslation(const Wording& wording, const char* key) const;
  bool convertResults(const Wording& wording, const char* key, Text16 translated, Text16 internal,
                      char* result, char* localResult, int size) const;

  RWCString _bundlePath;
  RWCString _localeName;
  LNG2_Locale* _locale = nullptr;
  LNG2_Bundle* _bundle = nullptr;  // not null: the bundle is open
  UConverter* _utf8 = nullptr;
  UConverter* _local = nullptr;
  mutable ZOVMutex _mutex;  // guards all of the above once open() has ended
};

/// Substitutes parameters in `pattern`: each "''" becomes "'", then for i from 0 every "{i}" becomes
/// parameter i (zero-terminated; null is left out). So a parameter that holds "{3}" takes parameter 3 itself.
/// Answers the length; when that exceeds the capacity the status becomes U_BUFFER_OVERFLOW_ERROR and nothing
/// is written. There is no zero byte behind a result that fills the buffer.
int ZOV2_FormatMessage(const char* locale, const char16_t* pattern, int patternLength, char16_t* result,
                       int resultCapacity, UErrorCode* status, std::span<const char16_t* const> parameters);

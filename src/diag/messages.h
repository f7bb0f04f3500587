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
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "foundation/string.h"
#include "platform/language.h"
#include "runtime/message_numbers.h"
#include "runtime/mutex.h"

enum class ZOVMessageSeverity : int { I = 0, W = 1, E = 2, S = 3 };

struct ZOVMessageRow {
  int number;
  ZOVMessageSeverity severity;
  std::string_view parameters;  ///< a letter each: t text, n number, x hexadecimal number; at most 10
};
/// The row of a message, or null for a number that has none.
const ZOVMessageRow* zovFindMessage(int number);

/// The English texts by number, each beginning with its key; empty where there is no message.
constexpr int ZOVMessageCount = 200;
extern const std::array<const char*, ZOVMessageCount> zovenu;

class ZOV_Agent_Log_Messages {
 public:
  static constexpr int MaximumParameters = 10;
  static constexpr int ResultSize = 2048;  ///< what a result buffer should hold, with its zero byte

  ZOV_Agent_Log_Messages() = default;
  virtual ~ZOV_Agent_Log_Messages() = default;
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
  template <auto Function>
  struct Close {
    template <class T>
    void operator()(T* handle) const {
      Function(handle);
    }
  };
  using Locale = std::unique_ptr<LNG2_Locale, Close<LNG2_ReleaseLocale>>;
  using Bundle = std::unique_ptr<LNG2_Bundle, Close<LNG2_ResourceClose>>;
  using Converter = std::unique_ptr<UConverter, Close<ucnv_close>>;

  static Converter openConverter(const char* name, const char* label);
  void openLocale() ZOV_REQUIRES(_mutex);
  void openBundle() ZOV_REQUIRES(_mutex);
  Text16 findTranslation(const Wording& wording, const char* key) const ZOV_REQUIRES(_mutex);
  bool convertResults(const Wording& wording, const char* key, Text16 translated, Text16 internal,
                      char* result, char* localResult, int size) const ZOV_REQUIRES(_mutex);

  mutable ZOVMutex _mutex;
  RWCString _bundlePath ZOV_GUARDED_BY(_mutex);
  RWCString _localeName ZOV_GUARDED_BY(_mutex);
  Locale _locale ZOV_GUARDED_BY(_mutex);
  Bundle _bundle ZOV_GUARDED_BY(_mutex);  // not null: the bundle is open
  Converter _utf8 ZOV_GUARDED_BY(_mutex);
  Converter _local ZOV_GUARDED_BY(_mutex);
};

/// Substitutes parameters in `pattern`: each "''" becomes "'", then for i from 0 every "{i}" becomes
/// parameter i (zero-terminated; null is left out). So a parameter that holds "{3}" takes parameter 3 itself.
/// Answers the length; when that exceeds the capacity the status becomes U_BUFFER_OVERFLOW_ERROR and nothing
/// is written. There is no zero byte behind a result that fills the buffer.
int ZOV2_FormatMessage(const char* locale, const char16_t* pattern, int patternLength, char16_t* result,
                       int resultCapacity, UErrorCode* status, std::span<const char16_t* const> parameters);

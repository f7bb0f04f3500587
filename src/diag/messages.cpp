#include "diag/messages.h"

#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "diag/utf8_handler.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCALOM");

namespace {

constexpr int TextCapacity = 2048;      // UTF-16 units of a pattern or of a formatted text
constexpr int ParameterCapacity = 512;  // UTF-16 units of a parameter
constexpr int FormattingLimit = 8192;   // units beyond which parameters in parameters are no longer followed

constexpr ZOVMessageRow Rows[] = {
#define ZOV_MESSAGE(key, severity, parameters, text) {key, ZOVMessageSeverity::severity, parameters},
#include "runtime/messages.def"
};

consteval std::array<const char*, ZOVMessageCount> internalTexts() {
  std::array<const char*, ZOVMessageCount> texts{};
  texts.fill("");
#define ZOV_MESSAGE(key, severity, parameters, text) texts.at(key) = #key " " text;
#include "runtime/messages.def"
  return texts;
}

template <int Capacity>
struct Buffer16 {
  char16_t units[Capacity + 1];
  int length = 0;
};

/// Converts a text into the buffer, which then holds what fits and a zero unit.
template <int Capacity>
UErrorCode toUtf16(UConverter* converter, const char* text, Buffer16<Capacity>& out) {
  UErrorCode status = U_ZERO_ERROR;
  const int wanted = ucnv_toUChars(converter, out.units, Capacity, text, -1, &status);
  out.length = std::clamp(wanted, 0, Capacity);
  if (out.length > 0 && U16_IS_LEAD(out.units[out.length - 1])) --out.length;
  out.units[out.length] = 0;
  return status;
}

/// Converts into at most size - 1 bytes and a zero byte; a failure leaves the zero byte only.
UErrorCode fromUtf16(UConverter* converter, const char16_t* units, int length, char* out, int size) {
  UErrorCode status = U_ZERO_ERROR;
  const int written = ucnv_fromUChars(converter, out, size - 1, units, length, &status);
  out[U_SUCCESS(status) ? written : 0] = '\0';
  return status;
}

UErrorCode format(const char* locale, const char16_t* pattern, int length,
                  std::span<const char16_t* const> parameters, Buffer16<TextCapacity>& out) {
  UErrorCode status = U_ZERO_ERROR;
  out.length = ZOV2_FormatMessage(locale, pattern, length, out.units, TextCapacity, &status, parameters);
  return status;
}

long idFromEnvironment(const char* name) {
  return std::strtol(OSL1_GetEnv(name, "0"), nullptr, 10);
}

}  // namespace

constinit const std::array<const char*, ZOVMessageCount> zovenu = internalTexts();

const ZOVMessageRow* zovFindMessage(int number) {
  const auto row = std::ranges::find(Rows, number, &ZOVMessageRow::number);
  return row == std::end(Rows) ? nullptr : row;
}

/// A text in UTF-16, whose units belong to another.
struct ZOV_Agent_Log_Messages::Text16 {
  const char16_t* units = nullptr;
  int length = 0;
};

/// How the trace speaks of what is retrieved.
struct ZOV_Agent_Log_Messages::Wording {
  const char* label;
  const char* localFailure;
  static const Wording Message;
  static const Wording String;
};
constexpr ZOV_Agent_Log_Messages::Wording ZOV_Agent_Log_Messages::Wording::Message{
    "Message", "%s key %s: UTF-16 to Local conversion Error %s"};
constexpr ZOV_Agent_Log_Messages::Wording ZOV_Agent_Log_Messages::Wording::String{
    "String", "%s key %s: UTF-16 to Local onversion Error %s"};

ZOV_Agent_Log_Messages::Converter ZOV_Agent_Log_Messages::openConverter(const char* name, const char* label) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  if (U_SUCCESS(status)) return converter;
  DGT1_Printf(traceUnit, DGT1_ERROR, "Open %s converter Error=%s", label, u_errorName(status));
  return nullptr;
}

void ZOV_Agent_Log_Messages::open(const char* /*prefix*/) {
  ZOV_TRACE(Public);
  const zov::RecursiveLock lock(_mutex);
  _bundle.reset();
  if (const char* path = OSL1_GetEnv("ZOV_RB_PATH", nullptr)) {
    _bundlePath = path;
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Using ZOV_RB_PATH for resource bundle directory. rb_directory: %s",
                path);
  } else if (const char* directory = OSL1_GetEnv("LNG1_LOCALEDIR", nullptr)) {
    _bundlePath = RWCString(directory) + "/zovmsg";
    DGT1_Printf(traceUnit, DGT1_DETAIL,
                "Using LNG1_LOCALEDIR for resource bundle directory. Resource bundle directory: %s",
                _bundlePath.data());
  } else {
    _bundlePath = "./rb/zovmsg";
    DGT1_Printf(traceUnit, DGT1_DETAIL,
                "Using ZOV_RB_DIRECTORY for resource bundle directory. Resource bundle directory: %s",
                _bundlePath.data());
  }
  openLocale();
  _utf8 = openConverter("utf-8", "UTF-8 converter");
  _local = openConverter(LNG2_NativeConverterName(), "local converter");
  openBundle();
}

void ZOV_Agent_Log_Messages::openLocale() {
  const char* name = OSL1_GetEnv("ZOV_LOCALE", nullptr);
  const long language = name ? idFromEnvironment("ZOV_LOCALE_LANGID") : 0;
  const long codepage = name ? idFromEnvironment("ZOV_LOCALE_CODEPAGEID") : 0;
  if (!name) name = "default";
  int status = 0;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Getting LNG2 Locale (%s) Language (id=%i) Codepage (id=%i)", name,
              language, codepage);
  _locale.reset(LNG2_GetLocale(language, codepage, 0, &status));
  if (!_locale) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "LNG2 Locale (%s) not available, using default locale", name);
    _locale.reset(LNG2_GetLocale(0, 0, 0, &status));
  }
  _localeName = _locale ? LNG2_GetLocaleName(_locale.get()) : "";
  if (!_locale || !traceUnit.on(DGT1_DETAIL)) return;

  char languageName[80] = "";
  char codepageName[80] = "";
  const long languageId = LNG2_GetLocaleNumInfo(_locale.get(), 1);
  const long codepageId = LNG2_GetLocaleCodepageId(_locale.get(), &status);
  LNG2_GetLanguageName(languageId, languageName, sizeof languageName);
  LNG2_GetCodepageName(codepageId, codepageName, sizeof codepageName);
  DGT1_Printf(
      traceUnit, DGT1_DETAIL,
      "Using resource bundle %s with LNG2 Locale (%s) Language (id=%i, name=%s) Codepage (id=%i, name=%s)",
      _bundlePath.data(), _localeName.data(), languageId, languageName, codepageId, codepageName);
}

void ZOV_Agent_Log_Messages::openBundle() {
  int status = 0;
  _bundle.reset(LNG2_ResourceOpen(_bundlePath.data(), _locale.get(), &status));
  if (status > 0 || !_bundle) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Open resource bundle %s Error=%s", _bundlePath.data(),
                u_errorName(static_cast<UErrorCode>(status)));
    _bundle.reset();
    return;
  }
  if (status == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Opened %s resource bundle", _localeName.data());
    return;
  }
  const Locale fallback(LNG2_GetLocale(0, 0, 0, &status));
  if (fallback) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Opened %s or %s resource bundle (%s)", _localeName.data(),
                LNG2_GetLocaleName(fallback.get()), _bundlePath.data());
  } else {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Opened default resource bundle (%s)", _bundlePath.data());
  }
}

ZOV_Agent_Log_Messages::Text16 ZOV_Agent_Log_Messages::findTranslation(const Wording& wording,
                                                                       const char* key) const {
  if (!_bundle) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "String key %s: Bundle not available", key);
    return {};
  }
  Text16 text;
  int status = 0;
  text.units = LNG2_GetStringByKey(_bundle.get(), key, &text.length, &status);
  if (status <= 0 && text.units) return text;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "%s key %s: GetStringByKey Error=%s", wording.label, key,
              u_errorName(static_cast<UErrorCode>(status)));
  return {};
}

/// False, traced, and with both results empty when one of the texts does not convert or does not fit.
bool ZOV_Agent_Log_Messages::convertResults(const Wording& wording, const char* key, Text16 translated,
                                            Text16 internal, char* result, char* localResult,
                                            int size) const {
  UErrorCode status = fromUtf16(_utf8.get(), translated.units, translated.length, result, size);
  if (U_FAILURE(status)) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "%s key %s: UTF-16 to %s conversion Error %s", wording.label, key,
                "UTF-8", u_errorName(status));
    return false;
  }
  status = fromUtf16(_local.get(), internal.units, internal.length, localResult, size);
  if (U_SUCCESS(status)) return true;
  result[0] = '\0';
  DGT1_Printf(traceUnit, DGT1_ERROR, wording.localFailure, wording.label, key, u_errorName(status));
  return false;
}

void ZOV_Agent_Log_Messages::RetrieveMessage2(char* result, char* localResult, int size,
                                              const char* const* table, const char* prefix, int number,
                                              std::span<const char* const> parameters) const {
  ZOV_TRACE(Restricted);
  result[0] = localResult[0] = '\0';
  const std::string keyText = DGT1_FormatText("%s%04i", prefix, number);
  const char* key = keyText.c_str();
  const zov::RecursiveLock lock(_mutex);
  if (!_utf8 || !_local) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Message key %s: Missing converters error", key);
    return;
  }
  Text16 translated = findTranslation(Wording::Message, key);
  Buffer16<TextCapacity> pattern;
  UErrorCode status = toUtf16(_local.get(), table[number], pattern);
  if (U_FAILURE(status)) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Message key %s, Local conversion to UTF-16 Error=%s", key,
                u_errorName(status));
    return;
  }
  if (translated.length == 0 && pattern.length == 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Message key %s, Empty messages", key);
    return;
  }
  if (translated.length == 0) translated = {pattern.units, pattern.length};

  std::array<Buffer16<ParameterCapacity>, MaximumParameters> buffers;
  std::array<const char16_t*, MaximumParameters> values{};
  for (std::size_t i = 0; i < std::min(parameters.size(), values.size()); ++i) {
    if (!parameters[i]) continue;
    status = toUtf16(_utf8.get(), parameters[i], buffers[i]);
    values[i] = buffers[i].units;
    if (U_SUCCESS(status)) continue;
    DGT1_Printf(traceUnit, DGT1_ERROR, "Message key %s: Parameter %s could not be converted, Error=%s", key,
                parameters[i], u_errorName(status));
  }
  Buffer16<TextCapacity> outTranslated, outInternal;
  status = format(_localeName.data(), translated.units, translated.length, values, outTranslated);
  if (U_SUCCESS(status)) {
    status = format(_localeName.data(), pattern.units, pattern.length, values, outInternal);
  }
  if (U_FAILURE(status)) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Message key %s: ZOV2_FormatMessage Error=%s", key,
                u_errorName(status));
    return;
  }
  convertResults(Wording::Message, key, {outTranslated.units, outTranslated.length},
                 {outInternal.units, outInternal.length}, result, localResult, size);
}

void ZOV_Agent_Log_Messages::RetrieveString2(char* result, char* localResult, int size,
                                             const char* const* table, const char* prefix, int number) const {
  ZOV_TRACE(Restricted);
  result[0] = localResult[0] = '\0';
  const std::string keyText = DGT1_FormatText("%s%04i", prefix, number);
  const char* key = keyText.c_str();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "String key=%s", key);
  const zov::RecursiveLock lock(_mutex);
  if (!_utf8 || !_local) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "String key %s: %s converter not available", key,
                _local ? "UTF-8" : "Local");
    return;
  }
  const Text16 translated = findTranslation(Wording::String, key);
  Buffer16<TextCapacity> internal;
  const UErrorCode status = toUtf16(_local.get(), table[number], internal);
  if (U_FAILURE(status)) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "String key %s, Local conversion to UTF-16 Error=%s", key,
                u_errorName(status));
    return;
  }
  const Text16 own{internal.units, internal.length};
  convertResults(Wording::String, key, translated.length > 0 ? translated : own, own, result, localResult,
                 size);
}

void ZOV_Agent_Log_Messages::print() const {
  ZOV_TRACE(Restricted);
  if (!traceUnit.on(DGT1_DETAIL)) return;
  for (int number = 0; number < ZOVMessageCount; ++number) {
    const char* text = zovenu[static_cast<std::size_t>(number)];
    if (*text) DGT1_Printf(traceUnit, DGT1_DETAIL, "Internal Messages[%04d]: %s", number, text);
  }
  for (int number = 0; number < ZOVMessageCount; ++number) {
    char text[ResultSize], localText[ResultSize];
    RetrieveMessage2(text, localText, ResultSize, zovenu.data(), "ZOVA", number, {});
    ZOVDebug_PrintUTF8::Buffer shown;
    DGT1_Printf(traceUnit, DGT1_DETAIL, "LNG2 Messages[%s%04d]: %s", "ZOVA", number,
                ZOVDebug_PrintUTF8(shown, text).data());
  }
}

int ZOV2_FormatMessage(const char* locale, const char16_t* pattern, int patternLength, char16_t* result,
                       int resultCapacity, UErrorCode* status, std::span<const char16_t* const> parameters) {
  DGT1_Printf(traceUnit, DGT1_DETAIL,
              "Format Message locale %s pattern %p of length %i result %p of length %i ", locale,
              static_cast<const void*>(pattern), patternLength, static_cast<const void*>(result),
              resultCapacity);
  icu::UnicodeString text(pattern, patternLength);
  text.findAndReplace(u"''", u"'");
  for (std::size_t i = 0; i < std::min<std::size_t>(parameters.size(), 10); ++i) {
    // Parameters that name each other could otherwise grow the text without bound.
    if (text.length() > FormattingLimit) break;
    const char16_t placeholder[] = {u'{', static_cast<char16_t>(u'0' + i), u'}', 0};
    if (parameters[i]) text.findAndReplace(placeholder, parameters[i]);
  }
  if (text.length() > resultCapacity) {
    *status = U_BUFFER_OVERFLOW_ERROR;
  } else if (result && resultCapacity >= 1) {
    text.extract(0, text.length(), result);
  }
  return text.length();
}

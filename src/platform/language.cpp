#include "platform/language.h"

#include <langinfo.h>
#include <locale.h>
#include <unicode/ucnv.h>
#include <unicode/uloc.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVLNGSV");

struct LNG2_Locale {
  std::string name;  // ICU's, such as "de_DE"
  long language;
  long codepage;
};

struct LNG2_Bundle {
  std::map<std::string, std::u16string, std::less<>> texts;
};

namespace {

constexpr long nativeUnnumbered = 1;  // the native code page, when it has no number
constexpr long ascii = 367;
constexpr std::size_t longestText = 256 * 1024 * 1024;  // keeps every length inside ICU's 32 bits

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

/// The code page of the environment's locale, whether or not the process has taken that locale over. Plain
/// ASCII (the C locale) counts as UTF-8, which holds it.
struct NativeCodepage {
  std::string name = "UTF-8";
  long id = LNG2_UTF8;

  NativeCodepage() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (!locale) return;
    const std::string codeset = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    UErrorCode status = U_ZERO_ERROR;
    const Converter converter(ucnv_open(codeset.c_str(), &status));
    if (U_FAILURE(status)) return;
    const long number = ucnv_getCCSID(converter.get(), &status);
    if (number == LNG2_UTF8 || number == ascii) return;
    name = codeset;
    id = number > 0 ? number : nativeUnnumbered;
  }
};

const NativeCodepage& nativeCodepage() {
  static const NativeCodepage& native = *new NativeCodepage;
  return native;
}

Converter openConverter(long codepage, UErrorCode& status) {
  const std::string name =
      codepage == nativeCodepage().id ? nativeCodepage().name : "ibm-" + std::to_string(codepage);
  return Converter(ucnv_open(name.c_str(), &status));
}

void report(int* status, int value) {
  if (status) *status = value;
}

/// Cuts an ASCII text to a buffer, and ends it.
void copyOut(std::string_view text, char* buffer, int size) {
  if (!buffer || size <= 0) return;
  const std::size_t length = text.copy(buffer, static_cast<std::size_t>(size) - 1);
  buffer[length] = 0;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

/// Adds the texts of one file, in the place of those that are there. False when there is no such file; a line
/// that is no message gives U_INVALID_FORMAT_ERROR.
bool addFile(LNG2_Bundle& bundle, const std::string& path, int& status) {
  std::ifstream file(path);
  if (!file) return false;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (number == 1 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
    const std::string text = trimmed(line);
    if (text.empty() || text.front() == '#') continue;
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "%s, line %d: accepted are KEY=text and comments that begin with #",
                  path.c_str(), number);
      status = U_INVALID_FORMAT_ERROR;
      return true;
    }
    const auto utf16 = icu::UnicodeString::fromUTF8(trimmed(text.substr(equals + 1)));
    bundle.texts[trimmed(text.substr(0, equals))] =
        std::u16string(utf16.getBuffer(), static_cast<std::size_t>(utf16.length()));
  }
  return true;
}

/// The locale and its parents, the widest first: "de", "de_DE".
std::vector<std::string> withParents(const std::string& locale) {
  std::vector<std::string> names;
  for (std::size_t end = locale.size(); end != std::string::npos && end != 0;
       end = locale.rfind('_', end - 1)) {
    names.insert(names.begin(), locale.substr(0, end));
  }
  return names;
}

bool isPlainAscii(long codepage) {
  return codepage == LNG2_UTF8 || codepage == ascii || codepage == 819;
}

}  // namespace

LNG2_Locale* LNG2_GetLocale(long language, long codepage, int, int* status) {
  UErrorCode error = U_ZERO_ERROR;
  char name[ULOC_FULLNAME_CAPACITY] = {};
  if (language == 0) {
    copyOut(uloc_getDefault(), name, sizeof name);
  } else if (language < 0 || language > UINT32_MAX) {
    error = U_ILLEGAL_ARGUMENT_ERROR;
  } else {
    uloc_getLocaleForLCID(static_cast<std::uint32_t>(language), name, sizeof name, &error);
  }
  if (codepage == 0) {
    codepage = LNG2_NativeCodepageId();
  } else if (U_SUCCESS(error)) {
    openConverter(codepage, error);
  }
  report(status, U_FAILURE(error) ? error : U_ZERO_ERROR);
  if (U_FAILURE(error)) return nullptr;
  return new LNG2_Locale{name, static_cast<long>(uloc_getLCID(name)), codepage};
}

void LNG2_ReleaseLocale(LNG2_Locale* locale) {
  delete locale;
}

const char* LNG2_GetLocaleName(const LNG2_Locale* locale) {
  return locale ? locale->name.c_str() : "";
}

long LNG2_GetLocaleNumInfo(const LNG2_Locale* locale, int what) {
  return locale && what == 1 ? locale->language : 0;
}

void LNG2_GetLanguageName(long id, char* buffer, int size) {
  UErrorCode error = U_ZERO_ERROR;
  char locale[ULOC_FULLNAME_CAPACITY] = {};
  UChar language[ULOC_FULLNAME_CAPACITY] = {};
  std::int32_t length = 0;
  if (id > 0 && id <= UINT32_MAX) {
    uloc_getLocaleForLCID(static_cast<std::uint32_t>(id), locale, sizeof locale, &error);
    length = uloc_getDisplayLanguage(locale, "en", language, ULOC_FULLNAME_CAPACITY, &error);
  }
  std::string text;
  if (U_SUCCESS(error) && length > 0) icu::UnicodeString(language, length).toUTF8String(text);
  copyOut(text, buffer, size);
}

long LNG2_GetLocaleCodepageId(const LNG2_Locale* locale, int* status) {
  report(status, locale ? U_ZERO_ERROR : U_ILLEGAL_ARGUMENT_ERROR);
  return locale ? locale->codepage : 0;
}

void LNG2_GetCodepageName(long id, char* buffer, int size) {
  UErrorCode error = U_ZERO_ERROR;
  const Converter converter = openConverter(id, error);
  const char* name = U_SUCCESS(error) ? ucnv_getName(converter.get(), &error) : nullptr;
  copyOut(name ? name : "", buffer, size);
}

LNG2_Bundle* LNG2_ResourceOpen(const char* path, const LNG2_Locale* locale, int* status) {
  if (!path || !*path) {
    report(status, U_ILLEGAL_ARGUMENT_ERROR);
    return nullptr;
  }
  const std::string directory = std::string(path) + "/";
  const std::string wanted = locale ? locale->name : uloc_getDefault();
  auto bundle = std::make_unique<LNG2_Bundle>();
  int result = U_MISSING_RESOURCE_ERROR;
  const auto add = [&](const std::string& name, int resultWhenFound) {
    int error = U_ZERO_ERROR;
    if (result == U_INVALID_FORMAT_ERROR || !addFile(*bundle, directory + name + ".txt", error)) return;
    result = error != U_ZERO_ERROR ? error : resultWhenFound;
  };
  // A narrower file goes over a wider one, key by key.
  add("root", U_USING_DEFAULT_WARNING);
  for (const std::string& name : withParents(wanted)) {
    add(name, name == wanted ? U_ZERO_ERROR : U_USING_FALLBACK_WARNING);
  }
  report(status, result);
  return result > 0 ? nullptr : bundle.release();
}

void LNG2_ResourceClose(LNG2_Bundle* bundle) {
  delete bundle;
}

const char16_t* LNG2_GetStringByKey(const LNG2_Bundle* bundle, const char* key, int* length, int* status) {
  if (!bundle || !key) {
    report(status, U_ILLEGAL_ARGUMENT_ERROR);
    return nullptr;
  }
  const auto found = bundle->texts.find(std::string_view(key));
  report(status, found == bundle->texts.end() ? U_MISSING_RESOURCE_ERROR : U_ZERO_ERROR);
  if (found == bundle->texts.end()) return nullptr;
  if (length) *length = static_cast<int>(found->second.size());
  return found->second.c_str();
}

long LNG2_NativeCodepageId() {
  return nativeCodepage().id;
}

const char* LNG2_NativeConverterName() {
  return nativeCodepage().name.c_str();
}

std::string LNG2_TranslateString(long targetCodepage, const char* source, std::size_t length,
                                 long sourceCodepage, const char* substitute, std::size_t maximum,
                                 int* status) {
  if (!source || length > longestText) {
    report(status, U_ILLEGAL_ARGUMENT_ERROR);
    return {};
  }
  const std::string_view text(source, length);
  UErrorCode error = U_ZERO_ERROR;
  std::string result;
  if (isPlainAscii(sourceCodepage) && isPlainAscii(targetCodepage) &&
      std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    result = text;
  } else {
    const Converter from = openConverter(sourceCodepage, error);
    const Converter to = openConverter(targetCodepage, error);
    if (U_SUCCESS(error) && substitute) {
      const auto replacement = icu::UnicodeString::fromUTF8(substitute);
      ucnv_setSubstString(to.get(), replacement.getBuffer(), replacement.length(), &error);
    }
    if (U_SUCCESS(error)) {
      const icu::UnicodeString pivot(source, static_cast<std::int32_t>(length), from.get(), error);
      const std::int32_t needed = pivot.extract(nullptr, 0, to.get(), error);
      if (error == U_BUFFER_OVERFLOW_ERROR) error = U_ZERO_ERROR;
      result.resize(U_SUCCESS(error) ? static_cast<std::size_t>(needed) : 0);
      pivot.extract(result.data(), needed, to.get(), error);
    }
  }
  if (U_SUCCESS(error) && result.size() > maximum) error = U_BUFFER_OVERFLOW_ERROR;
  report(status, U_FAILURE(error) ? error : U_ZERO_ERROR);
  return U_FAILURE(error) ? std::string() : result;
}

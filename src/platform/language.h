#pragma once
// National language services: locales, message bundles and code page conversion, over ICU.
//
// A bundle is a directory with one text file a locale, `<locale>.txt` or `root.txt`, UTF-8, a line
// `KEY=text` per message; '#' begins a comment. Statuses are ICU's: above 0 an error, 0 exact, below 0 a
// fallback was taken. All functions are safe from any thread; handles are owned by the caller.

#include <string>

struct LNG2_Locale;
struct LNG2_Bundle;

/// The locale of the language and code page ids; 0, 0 gives the system's default. Null when not available.
LNG2_Locale* LNG2_GetLocale(long language, long codepage, int flags, int* status);
void LNG2_ReleaseLocale(LNG2_Locale* locale);
const char* LNG2_GetLocaleName(const LNG2_Locale* locale);
long LNG2_GetLocaleNumInfo(const LNG2_Locale* locale, int what);  ///< what 1: the language id
void LNG2_GetLanguageName(long id, char* buffer, int size);
long LNG2_GetLocaleCodepageId(const LNG2_Locale* locale, int* status);
void LNG2_GetCodepageName(long id, char* buffer, int size);

LNG2_Bundle* LNG2_ResourceOpen(const char* path, const LNG2_Locale* locale, int* status);
void LNG2_ResourceClose(LNG2_Bundle* bundle);
/// The UTF-16 text of a key, owned by the bundle, or null with a status above 0.
const char16_t* LNG2_GetStringByKey(const LNG2_Bundle* bundle, const char* key, int* length, int* status);

/// Code page ids: 1208 is UTF-8; the native one is asked for here.
constexpr long LNG2_UTF8 = 1208;
long LNG2_NativeCodepageId();
/// Converts bytes between code pages. Returns the number of bytes written, at most `maximum`; what has no
/// form in the target is replaced by `substitute`. `status` above 0 is an error, with nothing written.
std::string LNG2_TranslateString(long targetCodepage, const char* source, std::size_t length,
                                 long sourceCodepage, const char* substitute, std::size_t maximum,
                                 int* status);

#pragma once
// National language services: locales, message bundles and code page conversion, over ICU.
//
// A bundle is a directory with one text file a locale, UTF-8, a line `KEY=text` per message; '#' begins a
// comment. For the locale de_DE the files root.txt, de.txt and de_DE.txt are read, each over the one before,
// as far as they are there. Statuses are ICU's: above 0 an error, 0 exact, below 0 a fallback was taken, and
// a null status pointer is accepted. Language ids are those that ICU's uloc_getLCID gives (1031 is de_DE),
// code page ids the numbers of ICU's "ibm-" converters (819 is ISO 8859-1). All functions are safe from any
// thread; handles are owned by the caller.

#include <cstddef>
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

/// Code page ids: 1208 is UTF-8; the native one is that of the environment's locale, where plain ASCII counts
/// as UTF-8.
constexpr long LNG2_UTF8 = 1208;
long LNG2_NativeCodepageId();
/// The name under which ICU opens the native code page.
const char* LNG2_NativeConverterName();
/// Converts bytes between code pages. What has no form in the target is replaced by `substitute` (UTF-8;
/// null: the target's usual one). A status above 0 is an error, and the answer empty: an unknown code page,
/// or a result of more than `maximum` bytes.
std::string LNG2_TranslateString(long targetCodepage, const char* source, std::size_t length,
                                 long sourceCodepage, const char* substitute, std::size_t maximum,
                                 int* status);

// Samples from text: lines of keyword=value.

#include <locale.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>

#include "foundation/time.h"
#include "platform/message_rate.h"
#include "runtime/trace_scope.h"
#include "samples/arithmetic.h"
#include "samples/sample.h"

static DGT1_Unit traceUnit("ZOVCSTXT");

namespace {

constexpr char PairDelim = '\n';
constexpr char KeywordValueDelim = '=';
constexpr char numericDelim = '.';
constexpr char perfLoadDelim = '/';

/// Takes the next token off the text, skipping delimiters ahead of it; empty at the end.
std::string_view takeToken(std::string_view& text, char delimiter) {
  const std::size_t begin = text.find_first_not_of(delimiter);
  if (begin == std::string_view::npos) return text = {};
  const std::size_t end = std::min(text.find(delimiter, begin), text.size());
  const std::string_view token = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return token;
}

/// What stands before the delimiter and behind it.
std::pair<std::string_view, std::string_view> split(std::string_view text, char delimiter) {
  const std::size_t at = text.find(delimiter);
  if (at == std::string_view::npos) return {text, {}};
  return {text.substr(0, at), text.substr(at + 1)};
}

long long toInteger(std::string_view text) {
  return std::strtoll(std::string(text).c_str(), nullptr, 10);
}

bool equalIgnoringCase(const char* keyword, std::string_view text) {
  return strncasecmp(keyword, text.data(), text.size()) == 0 && keyword[text.size()] == '\0';
}

/// It need not end as one.
bool isNumber(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  if (text.starts_with(numericDelim)) text.remove_prefix(1);
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

const zov::Keyword* findKeyword(const zov::Keyword* table, std::string_view keyword) {
  for (; table->keyword != nullptr; ++table) {
    if (equalIgnoringCase(table->keyword, keyword)) return table;
  }
  return nullptr;
}

}  // namespace

void ZOVSample::buildFromSampleString(const char* text) {
  takeTime();
  buildFromDataString(text);
}

void ZOVSample::buildFromDataString(const char* text) {
  ZOV_TRACE(Public);
  std::string_view rest = text != nullptr ? text : "";
  for (std::string_view line; !(line = takeToken(rest, PairDelim)).empty();) {
    const bool isPair = line.find(KeywordValueDelim) != std::string_view::npos;
    const std::string_view keyword = takeToken(line, KeywordValueDelim);
    const std::string_view value = takeToken(line, KeywordValueDelim);
    if (!keyword.empty() && !value.empty()) {
      saveKeywordValue(keyword, value);
    } else {
      // An empty value only says that there is none.
      DGT1_PrintfLimited(traceUnit, isPair ? DGT1_DETAIL : DGT1_ERROR,
                         "A line without a value is skipped: %s", std::string(keyword).c_str());
    }
  }
  if (!traceUnit.on(DGT1_DETAIL)) return;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Dump of keys and values for sample type %i follows", getSampleType());
  SnapHex(traceUnit, _class.numericKeys.data(), _class.numericKeys.size_bytes(), "Numeric Keys");
  SnapHex(traceUnit, numericValues, valueBytes(), "Numeric Values");
}

// Values stay in UTF-8 also where they are read as numbers: whatever has no ASCII form ends a number in
// either encoding.
void ZOVSample::saveKeywordValue(std::string_view keyword, std::string_view value) {
  if (_class.keywords == nullptr) return;
  const zov::Keyword* found = findKeyword(_class.keywords, keyword);
  if (found == nullptr) {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Unable to find entry in RPX Keyword table for %s",
                       std::string(keyword).c_str());
    return;
  }
  const _KeyKind kind = pKeyTable[static_cast<std::size_t>(found->key)].kind;
  if (kind != KeyKindString && !isNumber(value)) {
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "The value of %s is no number: %s",
                       std::string(keyword).c_str(), std::string(value).c_str());
    return;
  }
  switch (kind) {
    case KeyKindString:
      saveStringData(found->key, value);
      break;
    case KeyKindStatInfo:
    case KeyKindPerfLoad: {
      double total = 0;
      double numSamples = 0;
      convertPerfLoadValue(value, total, numSamples);
      saveStatInfoData(found->key, total, numSamples);
      break;
    }
    default:
      saveNumericData(found->key, convertStringValueToInt(value, 0));
      break;
  }
}

long long ZOVSample::convertStringValueToInt(std::string_view text, unsigned int decimals) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  const auto [whole, fraction] = split(text, numericDelim);
  std::string digits(fraction.substr(0, decimals));
  digits.resize(std::min<std::size_t>(decimals, 6), '0');
  const long long scaled = zovMultiply(toInteger(whole), getScaleFactorMultiplier(decimals));
  const long long result = zovAdd(scaled, toInteger(digits));
  return negative ? zovSubtract(0, result) : result;
}

double ZOVSample::convertStringValueToDouble(std::string_view text) {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(std::string(text).c_str(), nullptr, plain);
}

void ZOVSample::convertPerfLoadValue(std::string_view text, double& total, double& numSamples) {
  const auto [first, second] = split(text, perfLoadDelim);
  total = convertStringValueToDouble(first);
  const bool exponent = second.find('E') != std::string_view::npos;
  numSamples =
      exponent ? convertStringValueToDouble(second) : static_cast<double>(convertStringValueToInt(second, 0));
}

#include "agent/take_action_parser.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCTAPR");

namespace zov {

bool parseDigits(const RWCString& text, long long& value) {
  if (text.isNull() || std::strspn(text.data(), "0123456789") != text.length()) return false;
  value = std::strtoll(text.data(), nullptr, 10);
  return true;
}

std::optional<TakeActionArgument> TakeActionParser::parseNext() {
  ZOV_TRACE(Public);
  while (_done == 0 && _returnCode == ZOV_OK) {
    const RWCString token = _parser.next(_done, " \t\n");
    const std::size_t equals = std::min(token.first('='), token.length());
    if (equals == 0) continue;
    const _TakeActionKeywordTableEntry* entry = findKeyword(token(0, equals));
    if (entry == nullptr) {
      _returnCode = ZOV_INVALID_COMMAND;
      break;
    }
    TakeActionArgument found;
    found.id = entry->id;
    if (equals < token.length()) found.value = token(equals + 1, token.length());
    long long number = 0;
    found.isNumeric = parseDigits(found.value, number);
    found.numericValue = static_cast<int>(std::min<long long>(number, INT_MAX));
    return found;
  }
  return std::nullopt;
}

const _TakeActionKeywordTableEntry* TakeActionParser::findKeyword(const RWCString& given) const {
  for (const _TakeActionKeywordTableEntry& entry : _keywords) {
    const std::string_view keyword = entry.keyword;
    if (given.length() >= entry.minimumLength && given.length() <= keyword.size() &&
        given.equals(keyword.substr(0, given.length()), RWCString::ignoreCase)) {
      return &entry;
    }
  }
  return nullptr;
}

}  // namespace zov

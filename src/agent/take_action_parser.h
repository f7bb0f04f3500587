#pragma once
// TakeActionParser: reads the named arguments of a command, keyword=value, against a table of keywords of
// which a command may also be given the beginning. No command has named arguments as yet. One caller at a
// time.

#include <optional>
#include <span>

#include "diag/quoted_string_parser.h"
#include "runtime/return_code.h"

struct _TakeActionKeywordTableEntry {
  const char* keyword;
  unsigned int minimumLength;  ///< the shortest beginning that is accepted
  int id;                      ///< what parseNext reports
};

namespace zov {

/// One argument as it was found.
struct TakeActionArgument {
  int id = 0;
  RWCString value;         ///< what stands behind the "="
  int numericValue = 0;    ///< at most INT_MAX
  bool isNumeric = false;  ///< the value is digits
};

class TakeActionParser {
 public:
  /// Both must outlive this.
  TakeActionParser(std::span<const _TakeActionKeywordTableEntry> keywords, ZOVQuotedStringParser& parser)
      : _keywords(keywords), _parser(parser) {}

  /// The next argument; nothing at the end, and nothing with ZOV_INVALID_COMMAND for an unknown keyword,
  /// after which nothing more is read. Empty tokens and keywords are skipped.
  std::optional<TakeActionArgument> parseNext();
  ZOVReturnCode getReturnCode() const { return _returnCode; }

 private:
  const _TakeActionKeywordTableEntry* findKeyword(const RWCString& given) const;

  std::span<const _TakeActionKeywordTableEntry> _keywords;
  ZOVQuotedStringParser& _parser;
  int _done = 0;
  ZOVReturnCode _returnCode;
};

/// True when the text is digits and not empty; `value` is then its number, at most LLONG_MAX.
bool parseDigits(const RWCString& text, long long& value);

}  // namespace zov

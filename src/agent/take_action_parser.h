#pragma once
// ZOVTakeActionParser: reads the named arguments of a command, keyword=value, against a table of keywords of
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

/// One argument as it was found.
struct ZOVTakeActionArgument {
  int id = 0;
  RWCString value;       ///< what stands behind the "="
  int numericValue = 0;  ///< saturates
  int isNumeric = 0;     ///< 1 when the value is digits
};

class ZOVTakeActionParser {
 public:
  /// Both must outlive this.
  ZOVTakeActionParser(std::span<const _TakeActionKeywordTableEntry> keywords, ZOVQuotedStringParser& parser)
      : _keywords(keywords), _parser(parser) {}

  /// The next argument; nothing at the end, and nothing with a return code of 52 for an unknown keyword,
  /// after which nothing more is read. Empty tokens and keywords are skipped.
  std::optional<ZOVTakeActionArgument> parseNext();
  ZOVReturnCode getReturnCode() const { return _returnCode; }

 private:
  const _TakeActionKeywordTableEntry* findKeyword(const RWCString& given) const;

  std::span<const _TakeActionKeywordTableEntry> _keywords;
  ZOVQuotedStringParser& _parser;
  int _done = 0;
  ZOVReturnCode _returnCode;
};

/// True when the text is digits and not empty; `value` is then its number, at most INT_MAX.
bool zovParseDigits(const RWCString& text, int& value);

#pragma once
// ZOVQuotedStringParser: cuts a line into tokens, of which those that begin with the quote character run to
// the next one and may hold delimiters. Quotes open only at the start of a token, and nothing escapes a
// quote. One caller at a time.

#include "foundation/string.h"

class ZOVQuotedStringParser {
 public:
  /// The text must outlive the parser.
  ZOVQuotedStringParser(const RWCString& text, char quote) : _text(text), _quote(quote) {}
  ZOVQuotedStringParser(RWCString&&, char) = delete;

  /// The next token, without its quotes. `done` is 1 when there was none. An empty answer with `done` 0 is a
  /// token of two quotes, or one whose quote is never closed.
  RWCString next(int& done, const char* delimiters);

 private:
  const RWCString& _text;
  char _quote;
  std::size_t _position = 0;
};

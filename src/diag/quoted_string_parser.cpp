#include "diag/quoted_string_parser.h"

#include <algorithm>

RWCString ZOVQuotedStringParser::next(int& done, const char* delimiters) {
  const std::string_view text = _text.view();
  done = 0;
  _position = std::min(text.find_first_not_of(delimiters, _position), text.size());
  if (_position == text.size()) {
    done = 1;
    return RWCString();
  }
  if (text[_position] != _quote) {
    const std::size_t start = _position;
    _position = std::min(text.find_first_of(delimiters, start), text.size());
    return RWCString(text.substr(start, _position - start));
  }
  const std::size_t start = _position + 1;
  const std::size_t close = text.find(_quote, start);
  _position = close == std::string_view::npos ? text.size() : close + 1;
  return close == std::string_view::npos ? RWCString() : RWCString(text.substr(start, close - start));
}

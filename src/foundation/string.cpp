#include "foundation/string.h"

#include <algorithm>

namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}
char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

/// Traits that make std::string_view ignore the case of ASCII letters.
struct FoldedTraits : std::char_traits<char> {
  static bool eq(char a, char b) { return lower(a) == lower(b); }
  static bool lt(char a, char b) {
    return static_cast<unsigned char>(lower(a)) < static_cast<unsigned char>(lower(b));
  }
  static int compare(const char* a, const char* b, std::size_t count) {
    for (; count > 0; --count, ++a, ++b) {
      if (lt(*a, *b)) return -1;
      if (lt(*b, *a)) return 1;
    }
    return 0;
  }
  static const char* find(const char* text, std::size_t count, char wanted) {
    const char* end = text + count;
    const char* found = std::find_if(text, end, [&](char c) { return eq(c, wanted); });
    return found == end ? nullptr : found;
  }
};
using FoldedView = std::basic_string_view<char, FoldedTraits>;
FoldedView folded(std::string_view text) {
  return {text.data(), text.size()};
}

}  // namespace

RWCString& RWCString::replace(std::size_t position, std::size_t count, const char* text,
                              std::size_t textLength) {
  if (position > _text.size()) {
    rwReportError("RWCString::replace: position past the end");
    return *this;
  }
  rwTakingStorage([&] { _text.replace(position, count, text ? text : "", text ? textLength : 0); });
  return *this;
}

void RWCString::toUpper() {
  std::transform(_text.begin(), _text.end(), _text.begin(), upper);
}
void RWCString::toLower() {
  std::transform(_text.begin(), _text.end(), _text.begin(), lower);
}

int RWCString::compareTo(std::string_view other, caseCompare how) const {
  return how == exact ? view().compare(other) : folded(view()).compare(folded(other));
}

bool RWCString::equals(std::string_view other, caseCompare how) const {
  return length() == other.size() && compareTo(other, how) == 0;
}

std::size_t RWCString::index(std::string_view pattern, std::size_t start, caseCompare how) const {
  return how == exact ? view().find(pattern, start) : folded(view()).find(folded(pattern), start);
}

RWCString RWCString::strip(stripType where, char c) const {
  std::string_view left = view();
  while ((where & leading) && !left.empty() && left.front() == c) left.remove_prefix(1);
  while ((where & trailing) && !left.empty() && left.back() == c) left.remove_suffix(1);
  return RWCString(left);
}

char RWCString::operator[](std::size_t position) const {
  if (position < _text.size()) return _text[position];
  rwReportError("RWCString::operator[]: position past the end");
  return '\0';
}

RWCString RWCString::operator()(std::size_t start, std::size_t length) const {
  if (start <= _text.size()) return RWCString(view().substr(start, length));
  rwReportError("RWCString::operator(): start past the end");
  return {};
}

unsigned int RWCString::hash() const {
  unsigned int hash = 2166136261U;
  for (const char c : _text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return hash;
}

bool RWCollectableString::isEqual(const RWCollectable* other) const {
  const auto* text = dynamic_cast<const RWCollectableString*>(other);
  return text && str() == text->str();
}

int RWCollectableString::compareTo(const RWCollectable* other) const {
  const auto* text = dynamic_cast<const RWCollectableString*>(other);
  return text ? RWCString::compareTo(text->view()) : RWCollectable::compareTo(other);
}

RWCString RWCTokenizer::operator()(std::string_view delimiters) {
  const std::string_view text = _text.view();
  const std::size_t start = text.find_first_not_of(delimiters, _position);
  if (start == std::string_view::npos) {
    _position = text.size();
    return {};
  }
  const std::size_t end = std::min(text.find_first_of(delimiters, start), text.size());
  _position = end;
  return RWCString(text.substr(start, end - start));
}

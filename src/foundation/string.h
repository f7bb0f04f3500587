#pragma once
// RWCString: a byte string with a length, not NUL-limited, of value semantics; UTF-8 inside the agent. A thin
// layer over std::string. Null pointers read as empty. Positions past the end, and storage that cannot be
// had, take the foundation's error path.

#include <compare>
#include <string>
#include <string_view>

#include "foundation/collectable.h"
#include "foundation/error_handler.h"

constexpr std::size_t RW_NPOS = static_cast<std::size_t>(-1);

class RWCString {
 public:
  enum caseCompare { exact, ignoreCase };
  enum stripType { leading = 1, trailing = 2, both = 3 };

  RWCString() = default;
  RWCString(const char* text) { append(text ? text : ""); }  // NOLINT: implicit on purpose
  RWCString(const char* text, std::size_t length) { append(std::string_view(text, text ? length : 0)); }
  explicit RWCString(std::string_view text) { append(text); }
  explicit RWCString(std::string text) : _text(std::move(text)) {}
  explicit RWCString(char c) : _text(1, c) {}
  RWCString(const RWCString& other) { append(other.view()); }
  RWCString(RWCString&& other) = default;
  RWCString& operator=(const RWCString& other) {
    rwTakingStorage([&] { _text = other._text; });
    return *this;
  }
  RWCString& operator=(RWCString&& other) = default;
  ~RWCString() = default;

  const char* data() const { return _text.c_str(); }  ///< always NUL-terminated
  const char* c_str() const { return _text.c_str(); }
  std::size_t length() const { return _text.size(); }
  bool isNull() const { return _text.empty(); }  ///< true when empty
  const std::string& str() const { return _text; }
  std::string_view view() const { return _text; }

  RWCString& append(std::string_view more) {
    rwTakingStorage([&] { _text.append(more); });
    return *this;
  }
  RWCString& append(char c) { return append(std::string_view(&c, 1)); }
  RWCString& prepend(std::string_view more) { return replace(0, 0, more.data(), more.size()); }
  RWCString& operator+=(std::string_view more) { return append(more); }
  RWCString& operator+=(const RWCString& more) { return append(more.view()); }
  /// Replaces `count` bytes from `position` (count is cut at the end).
  RWCString& replace(std::size_t position, std::size_t count, const char* text, std::size_t textLength);
  RWCString& remove(std::size_t position, std::size_t count = RW_NPOS) {
    return replace(position, count, "", 0);
  }
  /// Cuts, or lengthens with blanks.
  void resize(std::size_t length) {
    rwTakingStorage([&] { _text.resize(length, ' '); });
  }
  void reserve(std::size_t length) {
    rwTakingStorage([&] { _text.reserve(length); });
  }
  void clear() { _text.clear(); }
  void toUpper();  ///< ASCII letters only
  void toLower();  ///< ASCII letters only

  /// Below, equal to or above 0; bytes as unsigned, ASCII letters folded when ignoring case.
  int compareTo(std::string_view other, caseCompare how = exact) const;
  bool equals(std::string_view other, caseCompare how = exact) const;
  /// Position of `pattern` at or behind `start`, or RW_NPOS.
  std::size_t index(std::string_view pattern, std::size_t start = 0, caseCompare how = exact) const;
  std::size_t first(char c) const { return _text.find(c); }
  std::size_t last(char c) const { return _text.rfind(c); }
  /// A copy without `c` at the named ends.
  RWCString strip(stripType where = trailing, char c = ' ') const;
  char operator[](std::size_t position) const;
  /// A copy of `length` bytes from `start`, cut at the end.
  RWCString operator()(std::size_t start, std::size_t length) const;
  /// FNV-1a over the bytes.
  unsigned int hash() const;

  friend bool operator==(const RWCString& a, const RWCString& b) { return a._text == b._text; }
  friend bool operator==(const RWCString& a, const char* b) { return a._text == (b ? b : ""); }
  friend auto operator<=>(const RWCString& a, const RWCString& b) { return a._text <=> b._text; }
  friend RWCString operator+(const RWCString& a, std::string_view b) { return RWCString(a).append(b); }
  friend RWCString operator+(const RWCString& a, const RWCString& b) { return RWCString(a).append(b.view()); }
  friend RWCString operator+(const RWCString& a, const char* b) { return RWCString(a).append(b ? b : ""); }
  friend RWCString operator+(const char* a, const RWCString& b) { return RWCString(a).append(b.view()); }

 private:
  std::string _text;
};

/// An RWCString that can be kept in a collection; hashed, compared and equal by its bytes.
class RWCollectableString : public RWCollectable, public RWCString {
 public:
  RWCollectableString() = default;
  RWCollectableString(const RWCString& text) : RWCString(text) {}  // NOLINT: implicit on purpose
  RWCollectableString(const char* text) : RWCString(text) {}       // NOLINT: implicit on purpose
  using RWCString::operator();

  RWClassID isA() const override { return 32700; }
  RWCollectable* copy() const override { return new RWCollectableString(*this); }
  unsigned int hash() const override { return RWCString::hash(); }
  bool isEqual(const RWCollectable* other) const override;
  int compareTo(const RWCollectable* other) const override;
};

/// Walks a string token by token. An empty result means the end: runs of delimiters count as one.
/// The string must outlive the tokenizer.
class RWCTokenizer {
 public:
  explicit RWCTokenizer(const RWCString& text) : _text(text) {}
  /// The next token. Without an argument the delimiters are blank, tab, newline and NUL.
  RWCString operator()(std::string_view delimiters = std::string_view(" \t\n\0", 4));

 private:
  const RWCString& _text;
  std::size_t _position = 0;
};

#pragma once
// Texts for a terminal. What comes from the agent may hold anything (names of requests are what clients of
// the servers sent), so it goes through here: control characters, and what has no width or is no character of
// the locale, become "?". Widths are columns of the screen.

#include <string>
#include <string_view>
#include <vector>

namespace zov::ctl {

/// Takes the locale of the environment, so that characters are told from bytes. Once, first.
void useLocale();

/// The text without anything that a terminal would obey.
std::string printable(std::string_view text);
/// The same for JSON, where a control character is escaped, so that it stays the same JSON.
std::string printableJson(std::string_view json);
/// The same for CSV, whose line ends stay.
std::string printableCsv(std::string_view csv);
/// How many columns a printable text takes.
std::size_t widthOf(std::string_view printable);
/// The printable text in exactly so many columns: cut, or filled with blanks at its end or at its beginning.
enum class Align { Left, Right };
std::string fitted(std::string_view printable, std::size_t width, Align align = Align::Left);
/// Lines of at most that many columns, cut at blanks; a longer word stands alone.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);
/// The text without the blanks at its end.
std::string withoutEnd(std::string text);

/// The escape sequences of a style around a text, or the text alone.
enum class Style { Plain, Bold, Dim, Underlined, Reverse, Red, Green, Yellow };
std::string styled(std::string_view text, Style style, bool colours);
/// Whether a descriptor may be sent colours: a terminal that is not "dumb", and no NO_COLOR.
bool mayColour(int descriptor);

/// Columns under headings, each as wide as its widest text.
class Listing {
 public:
  struct Heading {
    std::string text;
    Align align = Align::Left;
  };
  explicit Listing(std::vector<Heading> headings) : _headings(std::move(headings)) {}
  /// Texts are made printable here.
  void add(const std::vector<std::string>& row);
  bool isEmpty() const { return _rows.empty(); }
  /// Lines with their ends. On a terminal they are cut at its width.
  std::string text(bool colours, std::size_t mostColumns) const;

 private:
  std::vector<Heading> _headings;
  std::vector<std::vector<std::string>> _rows;
};

/// Writes to standard output; on a terminal in colours, cut at its width.
void print(const Listing& listing);
/// The columns of the terminal behind standard output, or no limit.
std::size_t outputColumns();

}  // namespace zov::ctl

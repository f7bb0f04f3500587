#include "ctl/text.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace zov::ctl {

namespace {

/// One character at the start of a text; one that may not be shown has no columns.
struct Character {
  std::size_t bytes;
  std::size_t columns;
};

Character characterAt(std::string_view text) {
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t bytes = std::mbrtowc(&wide, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 0};
  const int columns = wcwidth(wide);
  return {bytes, columns > 0 ? static_cast<std::size_t>(columns) : 0};
}

constexpr const char* Codes[] = {"", "1", "2", "4", "7", "31", "32", "33"};

/// The second byte of a control character above ASCII in UTF-8, behind 0xC2.
bool isUpperControl(std::string_view text) {
  return text.size() > 1 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
}

}  // namespace

void useLocale() {
  const char* const taken = std::setlocale(LC_CTYPE, "");
  // Of an environment that names none; nothing else is in use where nobody chose it.
  if (!taken || std::strcmp(taken, "C") == 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const Character character = characterAt(text);
    if (character.columns > 0) {
      shown += text.substr(0, character.bytes);
    } else {
      shown += '?';
    }
    text.remove_prefix(character.bytes);
  }
  return shown;
}

std::string printableJson(std::string_view json) {
  std::string shown;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const bool upper = isUpperControl(json.substr(i));
    if (!upper && json[i] != '\x7F') {
      shown += json[i];
      continue;
    }
    if (upper) ++i;
    char escape[7];
    std::snprintf(escape, sizeof escape, "\\u%04x",
                  static_cast<unsigned int>(static_cast<unsigned char>(json[i])));
    shown += escape;
  }
  return shown;
}

std::string printableCsv(std::string_view csv) {
  std::string shown;
  while (!csv.empty()) {
    const std::size_t end = csv.find_first_of("\r\n");
    shown += printable(csv.substr(0, end));
    if (end == std::string_view::npos) break;
    shown += csv[end];
    csv.remove_prefix(end + 1);
  }
  return shown;
}

std::size_t widthOf(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = characterAt(text);
    width += character.columns;
    text.remove_prefix(character.bytes);
  }
  return width;
}

std::string fitted(std::string_view text, std::size_t width, Align align) {
  std::string shown;
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = characterAt(text);
    if (columns + character.columns > width) break;
    shown += text.substr(0, character.bytes);
    columns += character.columns;
    text.remove_prefix(character.bytes);
  }
  const std::string blanks(width - columns, ' ');
  return align == Align::Right ? blanks + shown : shown + blanks;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines{""};
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (!lines.back().empty() && widthOf(lines.back()) + 1 + widthOf(word) > width) lines.emplace_back();
    lines.back().append(lines.back().empty() ? "" : " ").append(word);
  }
  return lines;
}

std::string withoutEnd(std::string text) {
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string styled(std::string_view text, Style style, bool colours) {
  if (!colours || style == Style::Plain) return std::string(text);
  return std::string("\033[") + Codes[static_cast<std::size_t>(style)] + "m" + std::string(text) + "\033[0m";
}

bool mayColour(int descriptor) {
  const char* const no = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return isatty(descriptor) == 1 && !(no && *no) && !(terminal && std::strcmp(terminal, "dumb") == 0);
}

void Listing::add(const std::vector<std::string>& row) {
  std::vector<std::string>& shown = _rows.emplace_back();
  for (const std::string& text : row) shown.push_back(printable(text));
}

std::string Listing::text(bool colours, std::size_t mostColumns) const {
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < _headings.size(); ++i) {
    std::size_t width = widthOf(_headings[i].text);
    for (const auto& row : _rows) width = std::max(width, widthOf(row[i]));
    widths.push_back(width);
  }
  const auto line = [&](const auto& textOf) {
    std::string whole;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (i > 0) whole += "  ";
      whole += fitted(textOf(i), widths[i], _headings[i].align);
    }
    return withoutEnd(widthOf(whole) > mostColumns ? fitted(whole, mostColumns) : whole);
  };
  std::string all =
      styled(line([&](std::size_t i) { return _headings[i].text; }), Style::Underlined, colours) + "\n";
  for (const auto& row : _rows) all += line([&](std::size_t i) { return row[i]; }) + "\n";
  return all;
}

void print(const Listing& listing) {
  std::fputs(listing.text(mayColour(STDOUT_FILENO), outputColumns()).c_str(), stdout);
}

std::size_t outputColumns() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::string::npos;
  return size.ws_col;
}

}  // namespace zov::ctl

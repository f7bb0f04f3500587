#pragma once
// zov::ctl::Terminal: the screen for as long as this lives: the other screen of the terminal, without a
// cursor, keys as they are pressed. However the process ends, the terminal is put back: at the end of the
// object, on signals that end the process, and while it is stopped. One at a time, on the thread that made
// it.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zov::ctl {

struct Key {
  enum Kind { Character, Up, Down, PageUp, PageDown, Home, End, Enter, Escape, Backspace };
  Kind kind;
  char character = '\0';  ///< a byte of UTF-8
};

class Terminal {
 public:
  /// Standard input and output, which must be a terminal. Fails with a Failure.
  Terminal();
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// What can be read when there is something for readKeys or takeSignals.
  static std::vector<int> descriptors();
  /// The keys that wait; nothing when the terminal has gone.
  static std::optional<std::vector<Key>> readKeys();
  /// False when a signal asks for the end. Stops and goes on again as the terminal's user wants.
  static bool takeSignals();

  struct Size {
    std::size_t columns, lines;
  };
  static Size size();
  /// Shows these lines from the first one of the screen on, which they should fill.
  static void show(const std::vector<std::string>& lines);
};

}  // namespace zov::ctl

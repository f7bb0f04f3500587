#pragma once
// A program in a terminal of its own, and what is on its screen: enough of a terminal for what zovctl sends,
// and a failure of the test for what a line does beyond the last column. Waits give up after 30 seconds.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

class TerminalProcess {
 public:
  TerminalProcess(const std::vector<std::string>& command, unsigned short columns, unsigned short lines) {
    winsize size{lines, columns, 0, 0};
    ::openpty(&_master, &_slave, nullptr, nullptr, &size);
    ::fcntl(_master, F_SETFD, FD_CLOEXEC);  // the program may not keep its own terminal alive
    _pid = ::fork();
    if (_pid == 0) {
      ::setenv("TERM", "xterm", 1);
      ::setenv("LC_ALL", "C.UTF-8", 1);
      ::login_tty(_slave);
      std::vector<char*> arguments;
      for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
      arguments.push_back(nullptr);
      ::execv(arguments[0], arguments.data());
      ::_exit(127);
    }
    clear(columns, lines);
  }
  TerminalProcess(const TerminalProcess&) = delete;
  TerminalProcess& operator=(const TerminalProcess&) = delete;
  ~TerminalProcess() {
    if (_pid > 0) end(SIGKILL);
    ::close(_master);
    ::close(_slave);
  }

  void press(const std::string& keys) {
    ASSERT_EQ(::write(_master, keys.data(), keys.size()), ssize_t(keys.size()));
  }
  void resize(unsigned short columns, unsigned short lines) {
    clear(columns, lines);
    winsize size{lines, columns, 0, 0};
    ::ioctl(_master, TIOCSWINSZ, &size);
  }
  /// Reads what the program writes until the screen holds the text.
  testing::AssertionResult shows(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (screen().find(text) == std::string::npos) {
      read(100);
      if (std::chrono::steady_clock::now() < deadline) continue;
      return testing::AssertionFailure() << "'" << text << "' is not on:\n" << screen();
    }
    return testing::AssertionSuccess();
  }
  /// The lines, without blanks at their ends.
  std::string screen() const {
    std::string text;
    for (const std::vector<std::string>& cells : _cells) {
      std::string line;
      for (const std::string& cell : cells) line += cell;
      text += line.erase(line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
  }
  bool isOverrun() const { return _isOverrun; }  ///< something went beyond the last column
  const std::string& written() const { return _written; }
  termios settings() const {
    termios settings{};
    ::tcgetattr(_slave, &settings);
    return settings;
  }
  /// Waits until the program has stopped.
  bool stops() {
    int status = 0;
    for (int tries = 0; tries < 3000 && ::waitpid(_pid, &status, WUNTRACED | WNOHANG) == 0; ++tries) read(10);
    while (read(0)) {
    }
    return WIFSTOPPED(status);
  }
  void goOn() { ::kill(_pid, SIGCONT); }
  /// Waits for the program's end, after a signal unless that is 0: its exit status, or 256 and the signal's
  /// number.
  int end(int signal = 0) {
    if (signal != 0) ::kill(_pid, signal);
    int status = 0;
    while (::waitpid(_pid, &status, WNOHANG) == 0) read(10);
    while (read(0)) {
    }
    _pid = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
  }

 private:
  void clear(std::size_t columns, std::size_t lines) {
    _cells.assign(lines, std::vector<std::string>(columns, " "));
    _line = _column = 0;
  }
  bool read(int milliseconds) {
    pollfd waited{_master, POLLIN, 0};
    char bytes[4096];
    if (::poll(&waited, 1, milliseconds) <= 0) return false;
    const ssize_t count = ::read(_master, bytes, sizeof bytes);
    if (count <= 0) return false;
    _written.append(bytes, static_cast<std::size_t>(count));
    _pending.append(bytes, static_cast<std::size_t>(count));
    while (!_pending.empty()) {
      const std::size_t taken = take();
      if (taken == 0) break;
      _pending.erase(0, taken);
    }
    return true;
  }
  /// Obeys what stands first in what has come: how many bytes that are, or 0 when it is not whole.
  std::size_t take() {
    const char first = _pending[0];
    if (first == '\r') return _column = 0, 1;
    if (first == '\n') return _line = std::min(_line + 1, _cells.size() - 1), 1;
    if (first == '\033') {
      const std::size_t end = _pending.find_first_of("HKJmhl", 2);
      if (end == std::string::npos) return 0;
      if (_pending[end] == 'H') _line = _column = 0;
      if (_pending[end] == 'K') std::fill(_cells[_line].begin() + long(_column), _cells[_line].end(), " ");
      return end + 1;
    }
    std::size_t length = 1;
    while (length < _pending.size() && (_pending[length] & 0xC0) == 0x80) ++length;
    if (_column < _cells[_line].size()) {
      _cells[_line][_column++] = _pending.substr(0, length);
    } else {
      _isOverrun = true;
    }
    return length;
  }

  int _master = -1, _slave = -1;
  pid_t _pid = 0;
  std::string _written, _pending;
  std::vector<std::vector<std::string>> _cells;
  std::size_t _line = 0, _column = 0;
  bool _isOverrun = false;
};

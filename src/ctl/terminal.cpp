#include "ctl/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <string_view>

#include "ctl/failure.h"

namespace zov::ctl {

namespace {

constexpr std::string_view EnterScreen = "\033[?1049h\033[?25l\033[2J";
constexpr std::string_view LeaveScreen = "\033[0m\033[?25h\033[?1049l";
constexpr int Faults[] = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

termios original;
bool entered = false;

/// A description of its own, so that it can be written without waiting, and no one else's is changed.
int output = -1;
int signals = -1;

/// Gives up when a signal comes while the terminal takes nothing, as one that is held by Ctrl-S does.
void writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(output, text.data(), text.size());
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
      continue;
    }
    if (count < 0 && errno != EINTR && errno != EAGAIN) return;
    pollfd waited[] = {{output, POLLOUT, 0}, {signals, POLLIN, 0}};
    ::poll(waited, std::size(waited), -1);
    if (waited[0].revents == 0 && waited[1].revents != 0) return;
  }
}

void enter() {
  termios raw = original;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VMIN] = 0;
  raw.c_cc[VTIME] = 0;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  writeAll(EnterScreen);
  entered = true;
}

/// Also from the handler of a fault: calls only what may be called there.
void leave() {
  if (!entered) return;
  entered = false;
  [[maybe_unused]] const ssize_t ignored = ::write(output, LeaveScreen.data(), LeaveScreen.size());
  ::tcsetattr(STDIN_FILENO, TCSANOW, &original);
}

void onFault(int signal) {
  leave();
  std::signal(signal, SIG_DFL);
  ::raise(signal);
}

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH})
    sigaddset(&set, signal);
  return set;
}

constexpr struct {
  std::string_view sequence;
  Key::Kind kind;
} Sequences[] = {{"\033[A", Key::Up},   {"\033[B", Key::Down},    {"\033OA", Key::Up},
                 {"\033OB", Key::Down}, {"\033[5~", Key::PageUp}, {"\033[6~", Key::PageDown},
                 {"\033[H", Key::Home}, {"\033[F", Key::End},     {"\r", Key::Enter},
                 {"\n", Key::Enter},    {"\x7F", Key::Backspace}, {"\b", Key::Backspace}};

/// Takes a key off the text. Sequences that are not known are passed over.
std::optional<Key> takeKey(std::string_view& text) {
  for (const auto& known : Sequences) {
    if (!text.starts_with(known.sequence)) continue;
    text.remove_prefix(known.sequence.size());
    return Key{known.kind};
  }
  if (text.starts_with("\033[") || text.starts_with("\033O")) {
    const std::size_t end = text.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz~", 2);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return std::nullopt;
  }
  const char first = text.front();
  text.remove_prefix(1);
  if (first == '\033') return Key{Key::Escape};
  return Key{Key::Character, first};
}

}  // namespace

Terminal::Terminal() {
  if (::tcgetattr(STDIN_FILENO, &original) != 0) {
    throw Failure(Status::Refused, std::string("The keyboard cannot be read: ") + std::strerror(errno) + ".");
  }
  output = ::open("/dev/tty", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (output < 0) {
    throw Failure(Status::Refused,
                  std::string("The terminal cannot be opened: ") + std::strerror(errno) + ".");
  }
  const sigset_t set = watchedSignals();
  ::sigprocmask(SIG_BLOCK, &set, nullptr);
  signals = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  for (const int signal : Faults) std::signal(signal, onFault);
  enter();
}

Terminal::~Terminal() {
  leave();
  for (const int signal : Faults) std::signal(signal, SIG_DFL);
  ::close(signals);
  ::close(output);
}

std::vector<int> Terminal::descriptors() {
  return {STDIN_FILENO, signals};
}

std::optional<std::vector<Key>> Terminal::readKeys() {
  pollfd waited{STDIN_FILENO, POLLIN, 0};
  if (::poll(&waited, 1, 0) <= 0) return std::vector<Key>{};
  char bytes[256];
  const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return std::nullopt;
  std::vector<Key> keys;
  for (std::string_view text(bytes, static_cast<std::size_t>(count)); !text.empty();) {
    if (const auto key = takeKey(text)) keys.push_back(*key);
  }
  return keys;
}

bool Terminal::takeSignals() {
  signalfd_siginfo told;
  while (::read(signals, &told, sizeof told) == sizeof told) {
    switch (told.ssi_signo) {
      case SIGWINCH:
        break;  // the size is asked for with each screen
      case SIGTSTP:
        leave();
        ::kill(::getpid(), SIGSTOP);
        break;
      case SIGCONT:
        enter();
        break;
      default:
        return false;
    }
  }
  return true;
}

Terminal::Size Terminal::size() {
  constexpr Size Usual{80, 24};
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return Usual;
  return {size.ws_col, size.ws_row};
}

void Terminal::show(const std::vector<std::string>& lines) {
  std::string all = "\033[H";
  // Cleared ahead of the text: behind one that fills its line the last character would go.
  for (std::size_t i = 0; i < lines.size(); ++i) all += (i > 0 ? "\r\n\033[K" : "\033[K") + lines[i];
  writeAll(all);
}

}  // namespace zov::ctl

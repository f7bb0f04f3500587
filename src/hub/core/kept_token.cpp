#include "hub/core/kept_token.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace zov::hub {
namespace {

constexpr std::size_t randomBytes = 32;
constexpr std::size_t fewestCharacters = 16;
constexpr std::size_t mostCharacters = 256;
constexpr mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP;
constexpr mode_t forbidden = S_IWGRP | S_IRWXO;

class Descriptor {
 public:
  explicit Descriptor(int number) : _number(number) {}
  ~Descriptor() {
    if (_number >= 0) ::close(_number);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return _number; }

 private:
  const int _number;
};

std::string whyNot(int code) {
  char text[128];
  return strerror_r(code, text, sizeof text);
}

KeptToken failure(const std::string& path, const std::string& reason) {
  return {"", path + ": " + reason};
}

/// "" when the system gives no random bytes.
std::string randomToken() {
  unsigned char bytes[randomBytes];
  if (::getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) return "";
  constexpr char digits[] = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) token.append({digits[byte >> 4], digits[byte & 15]});
  return token;
}

/// Fills the file that has just been made.
KeptToken make(const std::string& path, int file) {
  const std::string token = randomToken();
  const std::string line = token + "\n";
  if (!token.empty() && ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
      ::fsync(file) == 0) {
    return {token, ""};
  }
  const int code = errno;
  ::unlink(path.c_str());
  return failure(path, "the token cannot be written: " + whyNot(code));
}

/// What makes the file unfit to hold a secret, or "".
std::string unfitness(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return "it is not a regular file";
  if (status.st_uid != ::geteuid()) return "it belongs to another user than the agent's";
  if ((status.st_mode & forbidden) != 0)
    return "its group can write it or others can use it; accepted is 0640";
  return "";
}

KeptToken read(const std::string& path) {
  // Without waiting, as it may be a pipe; no link, as that could lead to a file of somebody's choice.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.number() < 0) return failure(path, whyNot(errno));
  struct stat status {};
  if (::fstat(file.number(), &status) != 0) return failure(path, whyNot(errno));
  if (const std::string unfit = unfitness(status); !unfit.empty()) return failure(path, unfit);

  char text[mostCharacters + 2];
  const ssize_t size = ::read(file.number(), text, sizeof text);
  if (size < 0) return failure(path, whyNot(errno));
  std::string token(text, static_cast<std::size_t>(size));
  if (token.ends_with('\n')) token.pop_back();
  const bool visible = std::ranges::all_of(token, [](char c) { return c > ' ' && c < '\x7F'; });
  if (!visible || token.size() < fewestCharacters || token.size() > mostCharacters) {
    return failure(path, "it holds no token; accepted is one line of " + std::to_string(fewestCharacters) +
                             " to " + std::to_string(mostCharacters) + " characters without blanks");
  }
  return {std::move(token), ""};
}

}  // namespace

KeptToken keepToken(const std::string& directory) {
  const std::string path = directory.empty() ? keptTokenFile : directory + "/" + keptTokenFile;
  const Descriptor made(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
  if (made.number() >= 0) return make(path, made.number());
  return errno == EEXIST ? read(path) : failure(path, whyNot(errno));
}

}  // namespace zov::hub

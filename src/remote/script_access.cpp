// Who could change what is run as a script.

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "remote/local_scripts.h"

namespace zov {

namespace {

constexpr int MostLinks = 40;  // as the kernel's

/// Walks the path as the kernel would, and looks at all that decides where it leads.
class PathWalk {
 public:
  PathWalk(const RWCString& path, uid_t user) : _rest(path.str()), _user(user) {}

  std::string run() {
    std::string wrong = look("/");
    while (wrong.empty() && !_rest.empty()) wrong = step();
    if (wrong.empty() && !S_ISREG(_status.st_mode)) wrong = _at + " is no regular file";
    return wrong;
  }

 private:
  std::string takeName() {
    const std::size_t begin = std::min(_rest.find_first_not_of('/'), _rest.size());
    const std::size_t end = std::min(_rest.find('/', begin), _rest.size());
    std::string name = _rest.substr(begin, end - begin);
    _rest.erase(0, std::min(_rest.find_first_not_of('/', end), _rest.size()));
    return name;
  }

  std::string step() {
    const std::string name = takeName();
    if (name.empty() || name == ".") return "";
    if (name == "..") {
      _at = std::filesystem::path(_at).parent_path();
      return "";
    }
    const std::string next = _at == "/" ? "/" + name : _at + "/" + name;
    std::string wrong = look(next);
    if (!wrong.empty()) return wrong;
    if (S_ISLNK(_status.st_mode)) return follow(next);
    _at = next;
    return "";
  }

  std::string look(const std::string& path) {
    if (::lstat(path.c_str(), &_status) != 0) return path + ": " + std::strerror(errno);
    if (_status.st_uid != 0 && _status.st_uid != _user) {
      return path + " belongs to user " + std::to_string(_status.st_uid);
    }
    const bool isSticky = S_ISDIR(_status.st_mode) && (_status.st_mode & S_ISVTX) != 0;
    if (S_ISLNK(_status.st_mode) || isSticky || (_status.st_mode & (S_IWGRP | S_IWOTH)) == 0) return "";
    return path + " can be written by others than its user";
  }

  std::string follow(const std::string& link) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
    if (length <= 0 || ++_links > MostLinks) return link + " leads nowhere";
    _rest = std::string(target, static_cast<std::size_t>(length)) + "/" + _rest;
    if (target[0] == '/') _at = "/";
    return "";
  }

  std::string _at = "/";  // directory that has been reached, without links
  std::string _rest;
  const uid_t _user;
  struct stat _status {};
  int _links = 0;
};

}  // namespace

RWCString findForeignHand(const RWCString& path, uid_t user) {
  return RWCString(PathWalk(path, user).run());
}

}  // namespace zov

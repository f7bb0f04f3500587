#include "config/collector_users.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

#include "platform/services.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCUSRS");

namespace zov {

namespace {

constexpr const char* Variable = "ZOV_COLLECTOR_USERS";
constexpr std::string_view Separators = " ,\t";

bool findUser(const std::string& name, uid_t& user) {
  passwd entry{};
  passwd* found = nullptr;
  std::string space(16384, '\0');
  if (::getpwnam_r(name.c_str(), &entry, space.data(), space.size(), &found) != 0 || !found) return false;
  user = entry.pw_uid;
  return true;
}

}  // namespace

CollectorUsers::CollectorUsers() {
  ZOV_TRACE(Public);
  const char* const text = OSL1_GetEnv(Variable, nullptr);
  _everybody = text == nullptr;
  const std::string_view words = text ? text : "";
  for (std::size_t begin = 0;
       (begin = words.find_first_not_of(Separators, begin)) != std::string_view::npos;) {
    const std::size_t end = std::min(words.find_first_of(Separators, begin), words.size());
    add(std::string(words.substr(begin, end - begin)));
    begin = end;
  }
}

void CollectorUsers::add(const std::string& word) {
  uid_t user = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), user);
  const bool isNumber = error == std::errc() && end == word.data() + word.size();
  if (isNumber || findUser(word, user)) {
    _users.push_back(user);
    return;
  }
  DGT1_Printf(traceUnit, DGT1_ERROR,
              "%s: \"%s\" is no user of this host and not used; names and numbers of users "
              "are accepted.",
              Variable, word.c_str());
}

bool CollectorUsers::isPrivileged(uid_t user) {
  return user == 0 || user == ::geteuid();
}

bool CollectorUsers::admits(uid_t user) const {
  return _everybody || isPrivileged(user) || std::ranges::find(_users, user) != _users.end();
}

}  // namespace zov

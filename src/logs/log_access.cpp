#include "logs/log_access.h"

#include <grp.h>
#include <limits.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace zov {

namespace {

constexpr mode_t Read = S_IROTH, Search = S_IXOTH;  // as others have it
constexpr int OwnerShift = 6, GroupShift = 3;
constexpr std::size_t MostEntryBytes = 16384;
constexpr int MostGroups = 65536;  // the kernel's limit

bool isMember(uid_t user, gid_t group) {
  std::string buffer(MostEntryBytes, '\0');
  struct passwd entry {};
  struct passwd* found = nullptr;
  if (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return false;
  std::vector<gid_t> groups(64);
  auto count = static_cast<int>(groups.size());
  while (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0) {
    if (groups.size() >= MostGroups) return false;
    groups.resize(groups.size() * 4);
    count = static_cast<int>(groups.size());
  }
  return std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
}

bool permits(const struct stat& file, mode_t right, uid_t user) {
  if (file.st_uid == user) return (file.st_mode & (right << OwnerShift)) != 0;
  const bool group = (file.st_mode & (right << GroupShift)) != 0, others = (file.st_mode & right) != 0;
  return group == others || !isMember(user, file.st_gid) ? others : group;
}

}  // namespace

bool userMayRead(int descriptor, uid_t user) {
  if (user == 0 || user == geteuid()) return true;  // the agent has opened it
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !permits(status, Read, user)) return false;
  char path[PATH_MAX + 1] = {};
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  if (readlink(link.c_str(), path, PATH_MAX) <= 0 || path[0] != '/') return false;
  // Where the file is, whatever links led there: directories that the user could not enter hide it.
  const std::string place = path;
  for (std::size_t slash = 0; slash != std::string::npos; slash = place.find('/', slash + 1)) {
    const std::string directory = place.substr(0, std::max<std::size_t>(slash, 1));
    if (stat(directory.c_str(), &status) != 0 || !permits(status, Search, user)) return false;
  }
  return true;
}

}  // namespace zov

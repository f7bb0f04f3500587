#pragma once
// zov::CollectorUsers: the users of this host who may bring servers, as ZOV_COLLECTOR_USERS tells them: names
// or numbers, with blanks or commas between them. Without the variable it is everybody. Root and the agent's
// own user always may, since nothing can be kept from them.
//
// Read once, at construction; any thread may ask.

#include <sys/types.h>

#include <string>
#include <vector>

namespace zov {

class CollectorUsers {
 public:
  CollectorUsers();
  bool isEverybody() const { return _everybody; }
  bool admits(uid_t user) const;
  static bool isPrivileged(uid_t user);  ///< root, and the agent's own

 private:
  void add(const std::string& word);

  bool _everybody;
  std::vector<uid_t> _users;
};

}  // namespace zov

#pragma once
// While one lives, sockets that the calling thread makes are another user's. Only root can do it.

#include <sys/fsuid.h>
#include <unistd.h>

class ActingUser {
 public:
  static bool isPossible() { return ::geteuid() == 0; }
  explicit ActingUser(uid_t user) { ::setfsuid(user); }
  ~ActingUser() { ::setfsuid(::geteuid()); }
  ActingUser(const ActingUser&) = delete;
  ActingUser& operator=(const ActingUser&) = delete;
};

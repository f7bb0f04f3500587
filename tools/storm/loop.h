#pragma once
// A loop plays peers on a thread of its own, from its making until its end: it hands them what their sockets
// tell, and ten times a second lets its crowd add some and gives each peer a turn.

#include <memory>
#include <stop_token>
#include <thread>
#include <vector>

#include "peer.h"

namespace zov::storm {

class Loop {
 public:
  /// Who is there. All calls come from the loop's thread; it must outlive the loop.
  class Crowd {
   public:
    virtual ~Crowd() = default;
    /// Adds those whose time has come.
    virtual void gather(Loop& loop) = 0;
    /// A peer that this crowd added is about to be destroyed.
    virtual void gone(const Peer& peer) = 0;
  };

  Loop(std::uint16_t port, Weather& weather, Crowd& crowd);
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  /// For the crowd.
  Field& field() { return _field; }
  Peer& add(std::unique_ptr<Peer> peer);

 private:
  struct Member {
    std::unique_ptr<Peer> peer;
    std::uint32_t interest;
  };

  void run(const std::stop_token& stop);
  void awaitTurn(Moment next);
  void takeTurn();
  void watch(Member& member);

  Field _field;
  Crowd& _crowd;
  int _epoll;
  std::vector<std::unique_ptr<Member>> _members;
  std::jthread _thread;  // last, since it uses all the others
};

}  // namespace zov::storm

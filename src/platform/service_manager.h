#pragma once
// zov::ServiceManager tells systemd of this process: that it is ready, stops, reads its configuration again,
// what it does, and, as its watchdog, that it lives. zov::VitalLoop is what "lives" means.
//
// A message is a few lines of text in a datagram to the socket that NOTIFY_SOCKET names. libsystemd does no
// more, and would bring five libraries with it. Without that variable nothing is sent, and nothing costs
// anything.

#include <chrono>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace zov {

/// A loop that the process is of no use without. It beats at each round, from a thread of its own. The
/// watchdog is not fed while one of them stands still, so that systemd starts the process anew.
class VitalLoop {
 public:
  /// What a round may take beyond what it waits by itself.
  static constexpr std::chrono::seconds Patience{60};

  /// The name is a literal.
  explicit VitalLoop(const char* name) : _name(name) {}
  ~VitalLoop() { rest(); }
  VitalLoop(const VitalLoop&) = delete;
  VitalLoop& operator=(const VitalLoop&) = delete;

  /// A round begins, which waits so long at most.
  void beat(std::chrono::seconds longestWait);
  /// The loop has ended as it should.
  void rest();
  /// The name of a loop whose beat is overdue; null when all of them live. Any thread.
  static const char* standingStill();

 private:
  const char* const _name;
  ZOVClock::Steady _due{};  // guarded by the list's mutex
};

/// One thread: that of the process's main loop.
class ServiceManager {
 public:
  ServiceManager();

  void ready();
  /// To be followed by ready().
  void reloading();
  void stopping();
  /// Feeds the watchdog, and tells the line that `status` answers, when it has changed. To be called again in
  /// the milliseconds that it answers, or earlier; -1: never, since nobody listens.
  int attend(std::string (*status)());

 private:
  void send(std::string_view message);
  void feed();

  std::string _socket;                          // empty: nobody listens
  std::chrono::milliseconds _period;            // between messages
  bool _watched = false;                        // a watchdog waits for this process
  ZOVClock::Steady _next = ZOVClock::steady();  // message
  std::string _status;                          // last told
  bool _failureTold = false;
  bool _stillTold = false;
};

}  // namespace zov

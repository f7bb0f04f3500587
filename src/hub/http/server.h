#pragma once
// The HTTP server.

#include <set>

#include "hub/core/front_door.h"
#include "hub/http/exchange.h"

struct MHD_Daemon;

namespace zov::hub {

/// Serves HTTP on one address. One thread of libmicrohttpd runs all exchanges; what may wait is on the desk's
/// workers. `_mutex` guards the set of open exchanges, and is taken before an exchange's.
class Server : public FrontDoor {
 public:
  explicit Server(const Settings& settings);
  ~Server() override;
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string start() override;
  std::uint16_t port() const override { return _port; }
  int descriptor() const override { return _desk.departures.descriptor(); }
  int attend() override;
  void stop(ZOVClock::Steady deadline) override;

 private:
  struct Callbacks;

  std::shared_ptr<Exchange> open(MHD_Connection* connection, std::string_view target);
  void close(const std::shared_ptr<Exchange>& exchange);
  /// Ends all exchanges, and waits a moment for their answers to go out.
  void endExchanges();

  Desk _desk;
  MHD_Daemon* _daemon = nullptr;
  std::uint16_t _port = 0;
  ZOVClock::Steady _nextKeepAlive;  // of arkmain's thread

  Mutex _mutex;
  Condition _gone;  // an exchange has gone
  std::set<std::shared_ptr<Exchange>> _exchanges ZOV_GUARDED_BY(_mutex);
  bool _stopping ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub

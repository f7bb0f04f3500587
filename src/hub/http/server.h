#pragma once
// The HTTP server.

#include <set>

#include "hub/core/front_door.h"
#include "hub/http/exchange.h"

struct MHD_Daemon;

namespace zov::hub {

/// Serves HTTP on one address. One thread of libmicrohttpd runs all exchanges; what may wait is on the desk's
/// workers. `_mutex` guards the sets of open connections and exchanges, and is taken before an exchange's.
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

  /// What libmicrohttpd keeps for us as long as a connection is open.
  struct Connection {
    int socket;
    std::shared_ptr<Exchange> exchange;  // of libmicrohttpd's thread
    // Guarded by the server's _mutex.
    bool receiving = true;  // a request, or nothing yet
    ZOVClock::Steady since;
  };

  Connection* enter(MHD_Connection* connection);
  void leave(Connection* connection);
  void open(MHD_Connection* connection, Connection& ours, std::string_view target);
  /// Ends the exchange of the connection, if there is one.
  void close(Connection& connection);
  void setReceiving(Connection& connection, bool receiving);
  /// When few places are left, the connection goes that has said nothing for the longest.
  void makePlace() ZOV_REQUIRES(_mutex);
  void checkTimes(ZOVClock::Steady now);
  /// Ends all exchanges, and waits a moment for their answers to go out.
  void endExchanges();

  Desk _desk;
  MHD_Daemon* _daemon = nullptr;
  std::uint16_t _port = 0;
  ZOVClock::Steady _nextKeepAlive;  // of arkmain's thread, as the next
  ZOVClock::Steady _nextCheck;

  Mutex _mutex;
  Condition _gone;  // an exchange has gone
  std::set<std::shared_ptr<Exchange>> _exchanges ZOV_GUARDED_BY(_mutex);
  std::set<Connection*> _connections ZOV_GUARDED_BY(_mutex);
  bool _stopping ZOV_GUARDED_BY(_mutex) = false;
};

}  // namespace zov::hub

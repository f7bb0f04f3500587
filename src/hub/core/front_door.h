#pragma once
// What the process knows of the room that serves the hub's users.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/clock.h"

namespace zov::hub {

struct Settings;

/// Serves the hub at one address, from start to stop. One thread, that of arkmain, calls.
class FrontDoor {
 public:
  virtual ~FrontDoor() = default;
  /// Begins to serve: "" or a sentence about what failed. Called once.
  virtual std::string start() = 0;
  /// The port that is served.
  virtual std::uint16_t port() const = 0;
  /// To be called every keepAliveMilliseconds: shows those who listen for events that the hub is there, and
  /// finds out those who have gone.
  virtual void keepAlive() = 0;
  /// Answers those who wait, and closes everything; then waits for what is inside the agent, until `deadline`
  /// at most.
  virtual void stop(ZOVClock::Steady deadline) = 0;
};

/// The front door of this program. hub/http defines it, which core may not include: the linker binds the two.
std::unique_ptr<FrontDoor> makeFrontDoor(const Settings& settings);

}  // namespace zov::hub

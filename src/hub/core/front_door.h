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
  /// Readable when attend has something to do; may be -1.
  virtual int descriptor() const = 0;
  /// Finds out the clients that have gone, and shows those who listen for events that the hub is there. To be
  /// called after start, when the descriptor is readable, and after the milliseconds that it answers at the
  /// latest.
  virtual int attend() = 0;
  /// Answers those who wait, and closes everything; then waits for what is inside the agent, until `deadline`
  /// at most.
  virtual void stop(ZOVClock::Steady deadline) = 0;
};

/// The front door of this program. hub/http defines it, which core may not include: the linker binds the two.
std::unique_ptr<FrontDoor> makeFrontDoor(const Settings& settings);

}  // namespace zov::hub

#pragma once
// zov::ctl::Failure: why a command of zovctl cannot go on, and the status that the process ends with. Thrown
// anywhere, caught in main, which writes the text to standard error.

#include <stdexcept>
#include <string>

namespace zov::ctl {

/// The exit statuses, as docs/zovctl.md and the man page state them.
enum class Status {
  Done = 0,
  Refused = 1,      ///< there is no such thing, the agent refused, or `check` found something
  Usage = 2,        ///< the command line is wrong
  Unreachable = 3,  ///< no agent answers, or its answer breaks off
  NoToken = 4,      ///< a token is needed that was not found, or is not the agent's
};

class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& text) : std::runtime_error(text), _status(status) {}
  Status status() const { return _status; }

 private:
  Status _status;
};

}  // namespace zov::ctl

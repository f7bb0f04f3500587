#pragma once
// What the functions of the interface's paths are given and give back. They know nothing of HTTP but its
// status codes.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "hub/core/table.h"

namespace zov::hub {

struct Parameter {
  std::string name;
  std::string value;
};

/// One request, as a path's function sees it.
struct Call {
  std::string subject;                ///< what the path names, such as a table; empty when it names nothing
  std::vector<Parameter> parameters;  ///< in the order given
  std::string body;
};

struct Answer {
  unsigned status = 200;
  std::string body;
  const char* contentType = "application/json";

  /// {"error": sentence}. The sentence tells what was given and what is accepted.
  static Answer error(unsigned status, std::string_view sentence);
  /// To those who come, or still wait, while the hub stops.
  static Answer ending();
};

/// What is to be done on a thread that may wait for the agent. Once the flag is set no one wants the answer
/// any more, and it comes back as soon as the agent lets it.
using Work = std::function<Answer(const std::atomic<bool>& givenUp)>;

/// Tables whose events are to follow, as a stream.
using EventTables = std::vector<std::shared_ptr<const Table>>;

using Reply = std::variant<Answer, Work, EventTables>;

/// A text of the caller's in a sentence: in quotation marks, and not at any length.
std::string quoted(std::string_view text);

}  // namespace zov::hub

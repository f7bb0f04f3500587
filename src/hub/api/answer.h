#pragma once
// What the functions of the interface's paths are given and give back. They know nothing of HTTP but its
// status codes.

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "hub/api/body.h"
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
  std::string method;
  std::string who;     ///< the client's address
  std::string accept;  ///< the types of content that the asker takes, as HTTP's Accept has them
};

struct Answer {
  unsigned status = 200;
  std::string body;
  const char* contentType = "application/json";
  std::string location = {};  ///< a path for the header of that name; empty: none

  /// {"error": sentence}. The sentence tells what was given and what is accepted.
  static Answer error(unsigned status, std::string_view sentence);
  /// To those who come, or still wait, while the hub stops.
  static Answer ending();
};

/// What is to be done on a thread that may wait for the agent. What is in one lane is done in its order; if
/// no one wants the answer any more before it has begun, it is left out.
struct Work {
  std::string lane;
  std::function<Answer()> run;
};

/// An answer that several threads write while it is sent. Any thread.
class Production {
 public:
  struct Part {
    std::string lane;  ///< whom it may wait for
    std::function<void()> run;
    std::function<void()> refused;  ///< in place of run, when too much waits in the lane
  };

  virtual ~Production() = default;
  virtual Body& body() = 0;
  virtual const char* contentType() const { return Answer().contentType; }
  /// To be run at once, as far as lanes and threads allow. Asked for once.
  virtual std::vector<Part> parts() = 0;
  /// Whether a part may wait for what is outside of the agent.
  virtual bool mayWait() const = 0;
  /// How long the body may take to be complete.
  virtual std::chrono::seconds time() const = 0;
  /// The time is over: ends the body with what there is, and says what is missing.
  virtual void timeOut() = 0;
  /// No one wants the answer any more.
  virtual void giveUp() = 0;
  /// What to answer in place of a body that failed before its start.
  virtual Answer failure() const = 0;
};

/// Tables whose events are to follow, as a stream.
using EventTables = std::vector<std::shared_ptr<const Table>>;

using Reply = std::variant<Answer, Work, std::shared_ptr<Production>, EventTables>;

/// Which of the types the asker prefers; the first where he says nothing of any, or likes two as much.
std::size_t preferredType(std::string_view accept, std::initializer_list<std::string_view> offered);

/// A text of the caller's in a sentence: in quotation marks, and not at any length.
std::string quoted(std::string_view text);

}  // namespace zov::hub

#pragma once
// Requests of tables, as the hub makes them.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/table_manager.h"
#include "framework/tqbox.h"
#include "hub/core/node_report.h"

namespace zov::hub {

/// One filter of a request. The record that the table reads is part of it, so that it lives as long.
struct Filter {
  std::string column;  ///< upper case, or "PARMA"
  QFL1_ValueType type = QFL1_TEXT;
  std::string text;
  std::int32_t number = 0;
  QFL1_FILTERINFO info = {};

  static Filter ofText(std::string column, std::string value, QFL1_ValueType type = QFL1_TEXT);
  static Filter ofNumber(std::string column, std::int32_t value);
};

/// A row passes when the column compares so with the value. For an integer column the value is its decimal
/// text.
struct Threshold {
  std::string column;  ///< upper case
  _IntfOper op = _IntfOper::Equal;
  std::string value;
};

}  // namespace zov::hub

/// What a request is made of. Filled before the request is made, and from then on touched only by the thread
/// that is in the request.
struct ContextInfo {
  bool history = false;
  std::string situation;  ///< at most 32 bytes are kept
  std::string origin;
  std::int32_t interval = 0;
  std::vector<std::string> subnodes;
  std::vector<zov::hub::Filter> filters;
  std::vector<zov::hub::Threshold> thresholds;
  std::size_t rowsOfSubnode = 0;  ///< no more are taken of one subnode; 0 is no limit
  /// Takes the rows of Dispatch; false when no one wants them any more. Called with the manager's lock held,
  /// so it may not wait.
  std::function<bool(const tqbox&)> deliver;
  /// Takes the reply of a command.
  std::function<void(const TqboxAutomationCapsule&)> finished;
  /// Once set, the request gets no more subnodes and takes no more rows, so that it comes back soon. May be
  /// null; outlives the request.
  const std::atomic<bool>* givenUp = nullptr;
  /// Takes what the table reports of nodes; may be null.
  std::shared_ptr<zov::hub::NodeReports> nodes;
  /// Takes the rows of a query as they are made, and may wait; false when no one wants more. Without it rows
  /// are held for Dispatch.
  std::function<bool(const char* row)> takeRow;
};

namespace zov::hub {

/// One request: owns the table's object and what that refers to. When it goes the request is closed: it
/// leaves the manager's list at once, and is deleted when no event delivery holds it any more.
class Request {
 public:
  /// A request for a query: not in the manager's list. `manager` outlives the request.
  Request(TableManager& manager, ContextInfo context);
  /// Not of a table: what a command comes through.
  Request(RequestDetail detail, ContextInfo context);
  ~Request();
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  /// Puts the request into the manager's list, so that events reach it. Once, and not for a query.
  void subscribe();

  tqbox& box();
  ContextInfo& context();

  /// Requests now in `manager`'s list.
  static std::size_t openCount(TableManager& manager);

  struct State;

 private:
  void enter();
  std::shared_ptr<State> _state;
  TableManager* _manager = nullptr;
};

}  // namespace zov::hub

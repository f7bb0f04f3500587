#pragma once
// What the paths of the HTTP interface do, without HTTP: parameters in, answer out.

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/http/target.h"

struct ZOVHubAnswer {
  unsigned status = 200;
  std::string body;
  const char* contentType = "application/json";

  static ZOVHubAnswer error(unsigned status, std::string_view sentence);
};

/// `GET /v1/tables` and `GET /v1/nodes`. Neither waits for anything.
ZOVHubAnswer zovHubListTables();
ZOVHubAnswer zovHubListNodes();

/// One query of rows. Made on any thread; `run` goes on a thread that may wait.
class ZOVHubQuery {
 public:
  /// Reads the parameters for a table. On failure `refusal` is the answer, and the query may not be run.
  static ZOVHubQuery read(const std::string& table, const std::vector<ZOVHubParameter>& parameters,
                          ZOVHubAnswer& refusal);
  bool valid() const { return _table != nullptr; }

  /// Asks the table and writes the rows. For history with nodes the table is asked once for each, as it reads
  /// history of one node or of all.
  /// Once `givenUp` is set it comes back as soon as the table does.
  ZOVHubAnswer run(const std::atomic<bool>& givenUp) const;

 private:
  /// Each gives "" or a sentence about what is wrong.
  std::string takeParameter(const ZOVHubParameter& parameter);
  std::string takeFilter(const ZOVHubColumn& column, const std::string& value);
  /// The nodes given; else the one that a filter on ORIGINNODE names; else all registered subnodes.
  std::vector<std::string> addressedNodes() const;
  std::vector<ContextInfo> requests(const std::atomic<bool>& givenUp) const;

  std::shared_ptr<const ZOVHubTable> _table;
  bool _history = false;
  std::vector<std::string> _nodes;
  std::vector<ZOVHubFilter> _filters;
};

/// One Take Action command.
struct ZOVHubCommand {
  std::string node;
  std::string text;

  /// Reads the body of a POST; "" or a sentence about what is wrong.
  std::string read(std::string_view body);
  /// Gives the command to the agent's callback and waits for it to finish.
  ZOVHubAnswer run() const;
};

/// The tables that an event stream follows; all tables without a `table` parameter.
std::vector<std::shared_ptr<const ZOVHubTable>> zovHubEventTables(
    const std::vector<ZOVHubParameter>& parameters, ZOVHubAnswer& refusal);

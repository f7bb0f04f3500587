#pragma once
// Which subnodes gave a query no rows, and why.

#include <string>
#include <vector>

#include "platform/mutex.h"

namespace zov::hub {

struct NodeReport {
  std::string name;    ///< of the subnode
  std::string status;  ///< a word: "timeout" for a server that did not answer in time
  std::string reason;  ///< a sentence
};

/// The reports of one query. Any thread: the query's time may end while its request is still inside the
/// agent.
class NodeReports {
 public:
  /// The first report of a node stands.
  void add(NodeReport report);
  std::vector<NodeReport> all() const;

 private:
  mutable Mutex _mutex;
  std::vector<NodeReport> _reports ZOV_GUARDED_BY(_mutex);
};

}  // namespace zov::hub

#include "hub/core/node_report.h"

#include <algorithm>

namespace zov::hub {

void NodeReports::add(NodeReport report) {
  const MutexLock guard(_mutex);
  if (std::ranges::find(_reports, report.name, &NodeReport::name) != _reports.end()) return;
  _reports.push_back(std::move(report));
}

std::vector<NodeReport> NodeReports::all() const {
  const MutexLock guard(_mutex);
  return _reports;
}

}  // namespace zov::hub

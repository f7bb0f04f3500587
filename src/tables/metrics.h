#pragma once
// The tables' samples as metrics.

#include "framework/metrics.h"

namespace zov {

/// Gives out what background collection has at hand, a table at a time; never takes a new sample. A metric is
/// of a key, and its labels are the keys that say which resource it is of. A count is the running one of the
/// server, or, where samples tell of intervals, the total that the anchor has kept since the table was first
/// asked for; a mean is its sum and number. Whatever is not collected in the background is left out, and so
/// are summaries of other resources.
///
/// Has no state; any thread. A walk holds the lock of the servers' list, and of one server at a time.
class TableMetrics : public MetricsSource {
 public:
  static TableMetrics& instance();
  std::vector<std::string> groups() const override;
  MetricGroup collect(const std::string& group, std::size_t mostValues) override;
};

}  // namespace zov

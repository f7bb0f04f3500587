#pragma once
// Numbers of the agent for monitoring systems that take the present state at their own times. The agent gives
// them out by groups; the framework chooses among these, bounds them and writes them.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zov {

struct MetricFamily {
  enum class Type {
    Gauge,
    Counter,  ///< only grows, but where what is counted begins anew
    Summary,  ///< a sum and how many it is of, each as a counter
  };
  std::string name;       ///< with the unit at its end, and without "_total"
  std::string_view unit;  ///< "seconds", "bytes", "ratio", or empty
  Type type = Type::Gauge;
  std::string help;
};

/// Families whose series have the same labels.
struct MetricGroup {
  struct Series {
    std::vector<std::string> labels;  ///< UTF-8, as labelNames
    std::vector<double> values;  ///< one of each family, and of a summary two; not a number: there is none
  };
  std::vector<MetricFamily> families;
  std::vector<std::string> labelNames;
  std::vector<Series> series;
  std::size_t leftOut = 0;  ///< values for which there was no room
};

/// Any thread; several groups may be collected at once.
class MetricsSource {
 public:
  virtual ~MetricsSource() = default;
  /// What there is to choose from, as configuration names it, in the order in which it is given out.
  virtual std::vector<std::string> groups() const = 0;
  /// What is at hand of a group, with no more values than that. Waits for no one outside of the agent.
  virtual MetricGroup collect(const std::string& group, std::size_t mostValues) = 0;
};

/// Makes the source known to the framework; it outlives all requests. Null takes it back.
void introduceMetrics(MetricsSource* source);

}  // namespace zov

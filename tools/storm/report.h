#pragma once
// What was measured, a reading a second, and what is made of it: a line each ten seconds, and at the end a
// table of both halves with the aims beside it. One thread.

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace zov::storm {

/// STORM_COLUMN(name, heading, what it is and its unit, decimals, what a line shows of its ten readings,
/// greatest value that is allowed, or 0: none)
#define STORM_COLUMNS(STORM_COLUMN)                                                                         \
  STORM_COLUMN(Connections, "conns", "connections of collectors", 0, Last, 0)                               \
  STORM_COLUMN(Descriptors, "fds", "descriptors of the agent", 0, Last, 0)                                  \
  STORM_COLUMN(Threads, "threads", "threads of the agent", 0, Last, 0)                                      \
  STORM_COLUMN(Resident, "MiB", "resident memory of the agent, MiB", 1, Last, 0)                            \
  STORM_COLUMN(Processor, "cpu%", "CPU of the agent, percent of one core", 0, Mean, 0)                      \
  STORM_COLUMN(LogLines, "log/min", "lines of its log a minute", 0, Mean, 0)                                \
  STORM_COLUMN(PollLateness, "poll+s", "a regular's poll, seconds over the interval", 2, Greatest, 2)       \
  STORM_COLUMN(FirstPoll, "new s", "a newcomer's first poll, seconds after its connecting", 2, Greatest, 2) \
  STORM_COLUMN(RegularQuery, "query s", "a query of a regular's node, seconds", 3, Greatest, 1)             \
  STORM_COLUMN(FullQuery, "all s", "a query of all nodes, seconds", 3, Greatest, 0)                         \
  STORM_COLUMN(Health, "health s", "/healthz, seconds", 3, Greatest, 0.1)

enum class Column {
#define STORM_COLUMN(name, heading, what, decimals, shown, limit) name,
  STORM_COLUMNS(STORM_COLUMN)
#undef STORM_COLUMN
      Count
};

class Reading {
 public:
  double& operator[](Column column) { return _values[static_cast<std::size_t>(column)]; }
  double operator[](Column column) const { return _values[static_cast<std::size_t>(column)]; }

 private:
  std::array<double, static_cast<std::size_t>(Column::Count)> _values{};
};

class Report {
 public:
  /// One a second.
  void add(const Reading& reading);
  /// The heads of the columns.
  void printHeading() const;
  /// The last ten readings.
  void printLine() const;
  /// Least, median and greatest of both halves.
  void printTable() const;
  /// The aims that follow from the readings.
  void judgeReadings();
  /// An aim of its own, printed with whether it was met.
  void aim(std::string_view what, std::string_view was, bool met);
  bool allMet() const { return _unmet == 0; }

 private:
  std::vector<double> series(Column column, std::size_t begin, std::size_t end) const;
  void judgeLevel(Column column, double allowed);

  std::vector<Reading> _readings;
  int _unmet = 0;
};

}  // namespace zov::storm

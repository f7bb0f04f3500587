#include "report.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace zov::storm {

namespace {

enum class Shown { Last, Mean, Greatest };
struct ColumnText {
  Column column;
  std::string_view heading, what;
  int decimals;
  Shown shown;
  double limit;
};
constexpr ColumnText Columns[] = {
#define STORM_COLUMN(name, heading, what, decimals, shown, limit) \
  {Column::name, heading, what, decimals, Shown::shown, limit},
    STORM_COLUMNS(STORM_COLUMN)
#undef STORM_COLUMN
};
constexpr std::size_t LineReadings = 10;

struct Range {
  double least, median, greatest;
};
Range rangeOf(std::vector<double> values) {
  if (values.empty()) return {};
  std::ranges::sort(values);
  return {values.front(), values[values.size() / 2], values.back()};
}

double meanOf(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

double shownOf(Shown shown, const std::vector<double>& values) {
  switch (shown) {
    case Shown::Mean:
      return meanOf(values);
    case Shown::Greatest:
      return std::ranges::max(values);
    default:
      return values.back();
  }
}

/// By which the straight line through the values rises from the first to the last.
double rise(const std::vector<double>& values) {
  const double n = static_cast<double>(values.size());
  if (values.size() < 2) return 0;
  const double middle = (n - 1) / 2;
  const double mean = meanOf(values);
  double above = 0, below = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double x = static_cast<double>(i) - middle;
    above += x * (values[i] - mean);
    below += x * x;
  }
  return above / below * (n - 1);
}

}  // namespace

void Report::add(const Reading& reading) {
  _readings.push_back(reading);
}

void Report::printHeading() const {
  fmt::print("{:>6}", "time");
  for (const ColumnText& column : Columns) fmt::print("{:>9}", column.heading);
  fmt::print("\n");
}

void Report::printLine() const {
  const std::size_t end = _readings.size();
  fmt::print("{:>3}:{:02}", end / 60, end % 60);
  for (const ColumnText& column : Columns) {
    const auto last = series(column.column, end - std::min(end, LineReadings), end);
    fmt::print("{:>9.{}f}", shownOf(column.shown, last), column.decimals);
  }
  fmt::print("\n");
}

void Report::printTable() const {
  const std::size_t end = _readings.size(), half = end / 2;
  fmt::print("\n{:<56}{:^30}{:^30}\n", "", "first half", "second half");
  fmt::print("{:<56}{:>10}{:>10}{:>10}{:>10}{:>10}{:>10}\n", "", "least", "median", "greatest", "least",
             "median", "greatest");
  for (const ColumnText& column : Columns) {
    fmt::print("{:<56}", column.what);
    for (const auto& [from, to] : {std::pair(std::size_t{0}, half), std::pair(half, end)}) {
      const Range range = rangeOf(series(column.column, from, to));
      for (const double value : {range.least, range.median, range.greatest}) {
        fmt::print("{:>10.{}f}", value, column.decimals);
      }
    }
    fmt::print("\n");
  }
  fmt::print("\n");
}

void Report::judgeReadings() {
  const std::size_t end = _readings.size();
  for (const ColumnText& column : Columns) {
    if (column.limit == 0) continue;
    const double greatest = rangeOf(series(column.column, 0, end)).greatest;
    aim(fmt::format("{}: at most {}", column.what, column.limit), fmt::format("{:.3f}", greatest),
        greatest <= column.limit);
  }
  judgeLevel(Column::Descriptors, 16);
  const Range memory = rangeOf(series(Column::Resident, end / 2, end));
  judgeLevel(Column::Resident, std::max(8.0, memory.median * 0.03));
}

void Report::judgeLevel(Column column, double allowed) {
  const auto second = series(column, _readings.size() / 2, _readings.size());
  const double rises = rise(second);
  aim(fmt::format("{}: level over the second half (+{:.0f})", Columns[static_cast<std::size_t>(column)].what,
                  allowed),
      fmt::format("{:+.1f}", rises), rises <= allowed);
}

void Report::aim(std::string_view what, std::string_view was, bool met) {
  if (!met) ++_unmet;
  fmt::print("{:<9} {:<76} {:>12}\n", met ? "met" : "NOT MET", what, was);
}

std::vector<double> Report::series(Column column, std::size_t begin, std::size_t end) const {
  std::vector<double> values;
  for (std::size_t i = begin; i < end; ++i) values.push_back(_readings[i][column]);
  return values;
}

}  // namespace zov::storm

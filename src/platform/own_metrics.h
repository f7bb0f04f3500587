#pragma once
// What the process counts of its own work, for whoever watches it. A source file declares what it counts
// once, as an object that lives as long as the process; /metrics shows all of them. Any thread may count,
// without a lock and at the cost of an atomic addition; nothing is allocated.

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/clock.h"

namespace zov {

/// One series. Those of one name, which differ by their labels, have one kind and one help.
class OwnMetric {
 public:
  enum class Kind { Counter, Gauge, Summary };
  /// Of all there are, by name and labels.
  static std::vector<const OwnMetric*> all();

  const char* const name;  ///< without "_total"; with the unit at its end
  const char* const help;
  const char* const labels;  ///< as they are shown: reason="timeout"; or empty
  const Kind kind;

  /// Of a summary how many there were.
  double value() const { return _read != nullptr ? _read() : static_cast<double>(_count.load(relaxed)); }
  double seconds() const { return static_cast<double>(_microseconds.load(relaxed)) / 1e6; }

 protected:
  OwnMetric(Kind kind, const char* name, const char* help, const char* labels, double (*read)());
  ~OwnMetric() = default;
  OwnMetric(const OwnMetric&) = delete;
  OwnMetric& operator=(const OwnMetric&) = delete;

  static constexpr auto relaxed = std::memory_order_relaxed;
  std::atomic<std::int64_t> _count{0};
  std::atomic<std::int64_t> _microseconds{0};

 private:
  double (*const _read)();
  OwnMetric* _next = nullptr;  // of the list of all
};

/// Counts what happens; or the count is read elsewhere.
class OwnCounter : public OwnMetric {
 public:
  OwnCounter(const char* itsName, const char* itsHelp, const char* itsLabels = "", double (*read)() = nullptr)
      : OwnMetric(Kind::Counter, itsName, itsHelp, itsLabels, read) {}
  void add(std::int64_t count = 1) { _count.fetch_add(count, relaxed); }
};

/// What there is at the moment: counted up and down, or read when it is asked for.
class OwnGauge : public OwnMetric {
 public:
  OwnGauge(const char* itsName, const char* itsHelp, double (*read)() = nullptr)
      : OwnMetric(Kind::Gauge, itsName, itsHelp, "", read) {}
  void change(std::int64_t by) { _count.fetch_add(by, relaxed); }
};

/// How often something was done, and how long it took all in all. The name ends with "_seconds".
class OwnTimes : public OwnMetric {
 public:
  OwnTimes(const char* itsName, const char* itsHelp)
      : OwnMetric(Kind::Summary, itsName, itsHelp, "", nullptr) {}
  void add(ZOVClock::Steady begin) {
    const auto took = std::chrono::duration_cast<std::chrono::microseconds>(ZOVClock::steady() - begin);
    _count.fetch_add(1, relaxed);
    _microseconds.fetch_add(took.count(), relaxed);
  }
};

}  // namespace zov

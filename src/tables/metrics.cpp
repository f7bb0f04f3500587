#include "tables/metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "samples/sample_totals.h"
#include "server/application_server_base.h"
#include "tables/families.h"
#include "tables/table_services.h"

static DGT1_Unit traceUnit("ZOVCTMET");

namespace zov {
namespace {

using Type = MetricFamily::Type;

constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// How one family's values come from a sample.
struct Recipe {
  enum From {
    Value,
    Count,
    Mean,       ///< a sum, and the count of the related key
    Statistic,  ///< a sum with its own number of observations
  } from;
  int key;
  double factor;  ///< from the sample's number to the metric's base unit
  int related = NoKey;
};

struct Label {
  int key;
  bool isNumber;
};

struct Plan {
  std::vector<Recipe> recipes;  // of the families
  std::vector<Label> labels;    // behind node and server
  bool isOfProcess = false;     // a server has a resource of this name in each of its processes
  MetricGroup group;            // without series
};

struct BaseUnit {
  std::string_view name;
  double factor;
};

BaseUnit baseUnit(Unit unit) {
  switch (unit) {
    case Unit::Milliseconds:
      return {"seconds", 1e-3};
    case Unit::Seconds:
      return {"seconds", 1};
    case Unit::Bytes:
      return {"bytes", 1};
    case Unit::Kibibytes:
      return {"bytes", 1024};
    case Unit::Percent:
      return {"ratio", 1e-2};
    default:
      return {"", 1};
  }
}

std::string metricName(const TableInfo& table, const KeyInfo& key, std::string_view unit) {
  const std::string prefix = std::string(table.metrics) + "_";
  std::string name = "zov_";
  if (!key.name.starts_with(prefix)) name += prefix;
  name += key.name;
  // What the unit or the kind of the metric says.
  constexpr std::string_view percent = "_percent";
  if (const std::size_t at = name.find(percent); unit == "ratio" && at != std::string::npos) {
    name.erase(at, percent.size());
  }
  for (const std::string_view end : {"_count", "_milliseconds"}) {
    if (name.ends_with(end)) name.resize(name.size() - end.size());
  }
  return name.append(unit.empty() ? "" : "_").append(unit);
}

/// Keys whose numbers are no measurements.
bool isMeasured(const KeyInfo& key) {
  return key.number != key::sample_time && key.number != key::duration && key.number != key::process_id &&
         key.unit != Unit::Time && !key.name.ends_with("_level");
}

void add(Plan& plan, const TableInfo& table, const KeyInfo& key, Type type, Recipe recipe) {
  const BaseUnit unit = baseUnit(key.unit);
  recipe.factor *= unit.factor;
  plan.group.families.push_back(
      {metricName(table, key, unit.name), unit.name, type,
       std::string(key.meaning) + (type == Type::Gauge ? "" : " All in all, not of one interval.")});
  plan.recipes.push_back(recipe);
}

void addKey(Plan& plan, const TableInfo& table, const KeyInfo& key, const KeyRow& row) {
  const double scale = 1.0 / static_cast<double>(ZOVSample::getScaleFactorMultiplier(row.scaleFactor));
  switch (row.kind) {
    case KeyKindCounter:
    case KeyKindCounterFromZero:
      return add(plan, table, key, Type::Counter, {Recipe::Count, key.number, 1});
    case KeyKindPercent: {
      const int related = static_cast<int>(row.relatedKey);
      const bool isMean = keyInfo(related).unit == Unit::Count;
      return isMean ? add(plan, table, key, Type::Summary, {Recipe::Mean, key.number, 1, related})
                    : add(plan, table, key, Type::Counter, {Recipe::Count, key.number, 1});
    }
    case KeyKindStatInfo:
      return add(plan, table, key, Type::Summary, {Recipe::Statistic, key.number, 1});
    case KeyKindPerfLoad:
      return add(plan, table, key, Type::Gauge, {Recipe::Value, key.number, scale});
    default:
      return add(plan, table, key, Type::Gauge, {Recipe::Value, key.number, 1});
  }
}

Plan planOf(const TableInfo& table) {
  Plan plan;
  plan.group.labelNames = {"node", "server"};
  std::vector<int> known = {key::summary};
  const auto isNew = [&](int key) { return std::ranges::find(known, key) == known.end(); };
  for (const Filter& filter : table.filters) {
    for (const Column& column : table.columns) {
      if (column.key == NoKey || !RWCString(filter.column).equals(column.name, RWCString::ignoreCase))
        continue;
      if (column.key == key::process_id) {
        plan.isOfProcess = true;
      } else if (isNew(column.key)) {
        plan.labels.push_back({column.key, column.type == ColumnInfo_Integer});
        plan.group.labelNames.emplace_back(keyInfo(column.key).name);
      }
      known.push_back(column.key);
    }
  }
  for (const Column& column : table.columns) {
    using enum ColumnSource;
    const bool isNumber = column.source == Value || column.source == Rate || column.source == Percent;
    if (!isNumber || !isNew(column.key) || !isMeasured(keyInfo(column.key))) continue;
    known.push_back(column.key);
    if (const KeyRow* row = keyRow(table, column.key)) addKey(plan, table, keyInfo(column.key), *row);
  }
  return plan;
}

double scaled(long long value, double factor) {
  return value == ZOVSample::NullValue ? none : static_cast<double>(value) * factor;
}

/// The values of one resource.
class Values {
 public:
  explicit Values(const ZOVResourceAnchor& anchor)
      : _sample(*anchor.getLastSample()),
        _isGone(anchor.isLogicallyDeleted() || anchor.isHistoryOnly()),
        _totals(anchor.totals()) {
    if (_sample.isIntervalSample()) anchor.getLastSample()->calculateRates(nullptr);
  }

  void append(std::vector<double>& values, const Recipe& recipe) const {
    switch (recipe.from) {
      case Recipe::Value:
        return values.push_back(_isGone ? none : scaled(_sample.getNumericData(recipe.key), recipe.factor));
      case Recipe::Count:
        return values.push_back(scaled(total(recipe.key), recipe.factor));
      case Recipe::Mean:
        values.push_back(scaled(total(recipe.key), recipe.factor));
        return values.push_back(scaled(total(recipe.related), 1));
      default: {
        const long long count = _sample.getTotalNumSamplesForStatinfo(recipe.key);
        const bool isTold = !_isGone && !_sample.isIntervalSample() && count != ZOVSample::NullValue;
        values.push_back(isTold ? _sample.getTotalForStatinfo(recipe.key) * recipe.factor : none);
        return values.push_back(isTold ? static_cast<double>(count) : none);
      }
    }
  }

 private:
  /// That of intervals goes on while the resource rests.
  long long total(int key) const {
    if (!_sample.isIntervalSample()) return _isGone ? ZOVSample::NullValue : _sample.getTotalCount(key);
    return _totals == nullptr ? ZOVSample::NullValue : _totals->of(key);
  }

  const ZOVSample& _sample;
  const bool _isGone;
  const SampleTotals* const _totals;
};

/// Series on their way into a group, as far as there is room.
class Collection {
 public:
  Collection(Plan& plan, std::size_t mostValues) : _plan(plan), _room(mostValues) {}

  void addServer(const TableInfo& table, const ZOVApplicationServerBase& server) {
    const ZOVSample::_SampleType type = table.sampleTypes.front();
    if (server.getStatus() != ServerConnected || !server.runningBackgroundCollection(type)) return;
    for (const ZOVSample::_SampleType each : table.sampleTypes) {
      const std::vector<std::string> labels = labelsOf(server);
      server.forEachAnchor(each, [&](const ZOVResourceAnchor& anchor) {
        if (isPresent(server, anchor)) addAnchor(labels, anchor);
      });
    }
  }

  void addStatus(const ZOVApplicationServerBase& server) {
    const long long start = server.getAppServerStartTime();
    const bool isUp = server.getStatus() == ServerConnected;
    keep({labelsOf(server), {isUp ? 1.0 : 0.0, isUp && start > 0 ? static_cast<double>(start) / 1e3 : none}});
  }

 private:
  static std::vector<std::string> labelsOf(const ZOVApplicationServerBase& server) {
    return {server.getSubnodeNameUTF8().str(), server.getName().str()};
  }

  /// Not of a process that the server has no more, whose series would stay beside those of the present one.
  bool isPresent(const ZOVApplicationServerBase& server, const ZOVResourceAnchor& anchor) const {
    const ZOVSample* const sample = anchor.getLastSample();
    if (!_plan.isOfProcess || sample == nullptr) return true;
    const long long process = sample->getNumericData(key::process_id);
    return process == ZOVSample::NullValue || process == static_cast<long long>(server.getProcessId());
  }

  void addAnchor(const std::vector<std::string>& serverLabels, const ZOVResourceAnchor& anchor) {
    const ZOVSample* const sample = anchor.getLastSample();
    if (sample == nullptr || sample->getNumericData(key::summary) > ZOVSample::SummaryDetail) return;
    MetricGroup::Series series{serverLabels, {}};
    for (const Label& label : _plan.labels) {
      series.labels.push_back(label.isNumber ? std::to_string(sample->getNumericData(label.key))
                                             : sample->getStringData(label.key).str());
    }
    const Values values(anchor);
    for (const Recipe& recipe : _plan.recipes) values.append(series.values, recipe);
    keep(std::move(series));
  }

  void keep(MetricGroup::Series series) {
    const auto count = static_cast<std::size_t>(
        std::ranges::count_if(series.values, [](double value) { return !std::isnan(value); }));
    if (count == 0) return;
    if (count > _room) {
      _plan.group.leftOut += count;
      return;
    }
    _room -= count;
    _plan.group.series.push_back(std::move(series));
  }

  Plan& _plan;
  std::size_t _room;
};

const TableInfo* findTable(const std::string& name) {
  for (const TableInfo* table : allTables()) {
    if (name == table->name && !table->metrics.empty()) return table;
  }
  return nullptr;
}

}  // namespace

TableMetrics& TableMetrics::instance() {
  static auto* const metrics = new TableMetrics;  // never destroyed: the framework refers to it
  return *metrics;
}

std::vector<std::string> TableMetrics::groups() const {
  std::vector<std::string> names = {zov_zovapsst_table};
  for (const TableInfo* table : allTables()) {
    if (!table->metrics.empty()) names.emplace_back(table->name);
  }
  return names;
}

MetricGroup TableMetrics::collect(const std::string& group, std::size_t mostValues) {
  ZOV_TRACE(Public);
  const TableInfo* const table = findTable(group);
  Plan plan;
  if (table != nullptr) {
    plan = planOf(*table);
    for (const ZOVSample::_SampleType type : table->sampleTypes) SampleTotals::keep(type);
  } else {
    plan.group.labelNames = {"node", "server"};
    plan.group.families = {
        {"zov_server_up", "", Type::Gauge, "1 while the server's collector is connected, else 0."},
        {"zov_server_start_time_seconds", "seconds", Type::Gauge,
         "When the server was started, since 1970."}};
  }
  Collection collection(plan, mostValues);
  guarded(ZOV_PLACE, [&] {
    TableServices* const services = TableServices::current();
    if (services == nullptr) return;
    services->forEachServer([&](const ZOVApplicationServerBase& server) {
      if (table != nullptr) {
        collection.addServer(*table, server);
      } else {
        collection.addStatus(server);
      }
    });
  });
  return std::move(plan.group);
}

}  // namespace zov

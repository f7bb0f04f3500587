#pragma once
// The families of all tables, made of their .def files. For each table of tables.def, by its stem:
//
//   zov_<stem>_application, zov_<stem>_table   the names that the framework knows it by
//   zov_<stem>_data_t                          the row; its layout is checked against offsets and widths
//   zov_<stem>_info                            all that is known of the table
//   zov_<stem>_base                            a request's first half: columns, and AddData for typed rows
//   zov_<stem>_manager                         makes requests, and pushes rows without one
//   zov_<stem>_static_manager                  the one that is registered; null before
//   zov_<stem>_init                            registers the table; the agent's loader calls each once
//
// What does not fit does not compile: a row of another size, more filters than a query has room for, a column
// without a meaning, and (in families.cpp) a filter that the table's anchors do not read.

#include <atomic>
#include <cstddef>

#include "samples/keys.h"
#include "tables/sample_table.h"

// --- Rows.
#define ZOV_FIELD_Int(name, width) std::int32_t name;
#define ZOV_FIELD_Text(name, width) char name[width];
#define ZOV_FIELD_Utf8(name, width) char name[width];

#define ZOV_TABLE(sort, stem, name, ...)                    \
  inline constexpr char zov_##stem##_application[] = "ZOV"; \
  inline constexpr char zov_##stem##_table[] = #name;       \
  struct zov_##stem##_data_t {
#define ZOV_ANY_COLUMN(kind, name, offset, width, ...) ZOV_FIELD_##kind(name, width)
#define ZOV_END_TABLE \
  }                   \
  ;
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, name, rowBytes, ...) \
  namespace zov::layout::stem {                    \
  using Row = zov_##stem##_data_t;                 \
  static_assert(sizeof(Row) == (rowBytes));
#define ZOV_ANY_COLUMN(kind, name, offset, width, ...) \
  static_assert(offsetof(Row, name) == (offset) && sizeof(Row::name) == (width));
#define ZOV_END_TABLE }
#include "tables/tables.def"

// --- What is known of the tables. Lists that may be empty end in an entry that does not count.
namespace zov::facts {

#define ZOV_TYPE_Int ColumnInfo_Integer
#define ZOV_TYPE_Text ColumnInfo_SingleByteText
#define ZOV_TYPE_Utf8 ColumnInfo_Utf8Text

#define ZOV_TABLE(sort, stem, ...) inline constexpr Column stem##_columns[] = {
#define ZOV_ANY_COLUMN(kind, name, offset, width, source, key, ...) \
  {#name, offset, width, ZOV_TYPE_##kind, ColumnSource::source, key, {__VA_ARGS__}},
#define ZOV_END_TABLE \
  }                   \
  ;
#include "tables/tables.def"

constexpr bool isSortable(const Column& column) {
  const ColumnSource source = column.source;
  return source == ColumnSource::Rate || source == ColumnSource::Percent || source == ColumnSource::Value ||
         source == ColumnSource::JavaTime || source == ColumnSource::Digits ||
         (source == ColumnSource::Own && column.key != NoKey);
}
/// The level at which statistics are taken is a setting, and no measurement to sort by.
constexpr bool isLevel(const Column& column) {
  return keyInfo(column.key).name.ends_with("_level");
}
template <std::size_t Size>
constexpr auto sortable(const Column (&columns)[Size]) {
  std::array<KeywordTableEntry, Size + 1> entries{};
  std::size_t count = 0;
  for (const Column& column : columns) {
    if (!isSortable(column) || isLevel(column)) continue;
    const SortValueType what = column.source == ColumnSource::Rate      ? SortByRate
                               : column.source == ColumnSource::Percent ? SortByPercent
                                                                        : SortByValue;
    entries[count++] = {column.name, static_cast<unsigned int>(column.key), what};
  }
  return entries;
}
template <std::size_t Size>
constexpr bool allHaveMeaning(const Column (&columns)[Size]) {
  for (const Column& column : columns) {
    if (column.source == ColumnSource::Own && (column.own.text.empty() || column.own.readable.empty())) {
      return false;
    }
    if (column.key != NoKey && keyInfo(column.key).meaning.empty()) return false;
  }
  return true;
}
#define ZOV_TABLE(sort, stem, ...)                                  \
  inline constexpr auto stem##_keywords = sortable(stem##_columns); \
  static_assert(allHaveMeaning(stem##_columns), "a column of " #stem " has no meaning");
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, ...) inline constexpr ZOVSample::_SampleType stem##_sampleTypes[] = {
#define ZOV_SAMPLE_TYPE(name) ZOVSample::SampleType##name,
#define ZOV_END_TABLE       \
  ZOVSample::SampleTypeNone \
  }                         \
  ;
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, ...) inline constexpr Filter stem##_filters[] = {
#define ZOV_FILTER(column, wildcard) {#column, wildcard},
#define ZOV_IDLE_FILTER(column, wildcard) {#column, wildcard, false},
#define ZOV_NODE_FILTER(column) {#column, "", false},
#define ZOV_END_TABLE \
  }                   \
  ;
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, ...) inline constexpr Sorting stem##_sorting[] = {
#define ZOV_SORTING(when) Sorting::when,
#define ZOV_END_TABLE \
  Sorting::ByColumn   \
  }                   \
  ;
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, ...) inline constexpr bool stem##_pushesEvents[] = {
#define ZOV_PUSHES_EVENTS true,
#define ZOV_END_TABLE \
  false               \
  }                   \
  ;
#include "tables/tables.def"

#define ZOV_TABLE(sort, stem, ...)                                         \
  static_assert(std::size(stem##_filters) <= FilterValues::MaximumFilters, \
                #stem " has more filters than a query has room for");      \
  ResourceAnchors stem##_anchors(const FilterValues& filters);
#include "tables/tables.def"

}  // namespace zov::facts

#define ZOV_SAMPLES_Plain true
#define ZOV_SAMPLES_Computing true
#define ZOV_SAMPLES_Own false
#define ZOV_TABLE(sort, stem, name, ...)                                                              \
  inline constexpr zov::TableInfo zov_##stem##_info{                                                  \
      #stem,                                                                                          \
      zov_##stem##_table,                                                                             \
      __VA_ARGS__,                                                                                    \
      zov::facts::stem##_columns,                                                                     \
      std::span(zov::facts::stem##_sampleTypes).first(std::size(zov::facts::stem##_sampleTypes) - 1), \
      zov::facts::stem##_filters,                                                                     \
      zov::facts::stem##_keywords.data(),                                                             \
      zov::facts::stem##_sorting[0],                                                                  \
      ZOV_SAMPLES_##sort,                                                                             \
      zov::facts::stem##_pushesEvents[0],                                                             \
      zov::facts::stem##_anchors};
#include "tables/tables.def"

// --- Classes. The sort of a table says what its requests derive from: see tables.def.
#define ZOV_BASE_Plain zov::SampleTable
#define ZOV_BASE_Computing zov::SampleTable
#define ZOV_BASE_Own zov::Table
// Samples may have to be fetched from the server first; what a table says by itself is at hand.
#define ZOV_WAITS_Plain true
#define ZOV_WAITS_Computing true
#define ZOV_WAITS_Own false

#define ZOV_TABLE(sort, stem, ...)                                                                 \
  class zov_##stem##_base : public ZOV_BASE_##sort {                                               \
   public:                                                                                         \
    zov_##stem##_base(RequestDetail* detail, ContextInfo* context, TableManager* manager)          \
        : ZOV_BASE_##sort(detail, context, manager, zov_##stem##_info) {}                          \
    void TakeSample() override = 0;                                                                \
    int AddData(zov_##stem##_data_t* rows, int count) {                                            \
      return addRows(reinterpret_cast<const char*>(rows), count);                                  \
    }                                                                                              \
  };                                                                                               \
                                                                                                   \
  class zov_##stem##_manager : public zov::TableManagerBase {                                      \
   public:                                                                                         \
    zov_##stem##_manager() : TableManagerBase(zov_##stem##_application, zov_##stem##_table) {}     \
    tqbox* CreateTqbox(RequestDetail* detail, ContextInfo* context) override;                      \
    zov::QueryAbilities queryAbilities() const override { return abilitiesOf(zov_##stem##_info); } \
    std::vector<zov::ColumnDescription> describeColumns() const override {                         \
      return zov::describeColumns(zov_##stem##_info);                                              \
    }                                                                                              \
    bool WaitsForSubnodes() const override { return ZOV_WAITS_##sort; }                            \
    /* Pushes rows without a request; 0 when the table is not registered. Any thread may call. */  \
    static int EventArrived(zov_##stem##_data_t* rows, int count);                                 \
    int AddDataToEvent(zov_##stem##_data_t* rows, int count) {                                     \
      return addRowsToEvent(reinterpret_cast<const char*>(rows), count);                           \
    }                                                                                              \
  };                                                                                               \
  extern std::atomic<zov_##stem##_manager*> zov_##stem##_static_manager;                           \
  int zov_##stem##_init();
#include "tables/tables.def"

/// The start of zov_<stem>_agent for a table of samples: its constructor and its TakeSample.
#define ZOV_SAMPLE_TABLE_AGENT(stem)                    \
  class zov_##stem##_agent : public zov_##stem##_base { \
   public:                                              \
    using zov_##stem##_base::zov_##stem##_base;         \
    void TakeSample() override { SampleTable::TakeSample(); }

/// What of a family needs zov_<stem>_agent. Stands once, in the source file that defines that class.
#define ZOV_DEFINE_INIT(stem)                                                             \
  std::atomic<zov_##stem##_manager*> zov_##stem##_static_manager{nullptr};                \
  tqbox* zov_##stem##_manager::CreateTqbox(RequestDetail* detail, ContextInfo* context) { \
    auto* request = new zov_##stem##_agent(detail, context, this);                        \
    request->TakeSampleConstructor();                                                     \
    return request;                                                                       \
  }                                                                                       \
  int zov_##stem##_manager::EventArrived(zov_##stem##_data_t* rows, int count) {          \
    auto* manager = zov_##stem##_static_manager.load();                                   \
    return manager == nullptr ? 0 : manager->AddDataToEvent(rows, count);                 \
  }                                                                                       \
  int zov_##stem##_init() {                                                               \
    auto* manager = new zov_##stem##_manager;                                             \
    zov_##stem##_static_manager = manager;                                                \
    return TableManager::RegisterWithManager(manager);                                    \
  }                                                                                       \
  static_assert(true, "a semicolon follows")

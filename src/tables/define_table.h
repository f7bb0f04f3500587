#pragma once
// The macros behind define_table.inc.

#include <array>
#include <atomic>

#include "tables/table.h"
#include "tables/table_inits.h"

#define ZOV_PASTE_(a, b, c) a##b##c
#define ZOV_PASTE(a, b, c) ZOV_PASTE_(a, b, c)
#define ZOV_FAMILY(suffix) ZOV_PASTE(zov_, ZOV_STEM, suffix)
#define ZOV_FACTS ZOV_PASTE(zovTableFacts_, ZOV_STEM, )

#define ZOV_FIELD_Int(name, width) std::int32_t name;
#define ZOV_FIELD_Text(name, width) char name[width];
#define ZOV_FIELD_Utf8(name, width) char name[width];
#define ZOV_TYPE_Int ColumnInfo_Integer
#define ZOV_TYPE_Text ColumnInfo_SingleByteText
#define ZOV_TYPE_Utf8 ColumnInfo_Utf8Text

#define ZOV_SORT_Value(name, key) {#name, key, SortByValue},
#define ZOV_SORT_Rate(name, key) {#name, key, SortByRate},
#define ZOV_SORT_Percent(name, key) {#name, key, SortByPercent},
#define ZOV_SORT_JavaTime(name, key) {#name, key, SortByValue},
#define ZOV_SORT_Digits(name, key) {#name, key, SortByValue},
#define ZOV_SORT_Own(name, key)
#define ZOV_SORT_OriginNode(name, key)
#define ZOV_SORT_ServerName(name, key)
#define ZOV_SORT_NodeName(name, key)
#define ZOV_SORT_SampleTime(name, key)
#define ZOV_SORT_Duration(name, key)
#define ZOV_SORT_CapturePercent(name, key)
#define ZOV_SORT_String(name, key)

/// The manager's functions that need zov_<stem>_agent.
#define ZOV_DEFINE_MANAGER(stem)                                                          \
  static std::atomic<zov_##stem##_manager*> zov_##stem##_static_manager{nullptr};         \
  tqbox* zov_##stem##_manager::CreateTqbox(RequestDetail* detail, ContextInfo* context) { \
    auto* request = new zov_##stem##_agent(detail, context, this);                        \
    request->TakeSampleConstructor();                                                     \
    return request;                                                                       \
  }                                                                                       \
  int zov_##stem##_manager::EventArrived(zov_##stem##_data_t* rows, int count) {          \
    auto* manager = zov_##stem##_static_manager.load();                                   \
    return manager == nullptr ? 0 : manager->AddDataToEvent(rows, count);                 \
  }                                                                                       \
  const ZOVTableInfo& zov_##stem##_table() {                                              \
    return zov_##stem##_info;                                                             \
  }

/// Those, and the initialiser.
#define ZOV_DEFINE_INIT(stem)                          \
  ZOV_DEFINE_MANAGER(stem)                             \
  int zov_##stem##_init() {                            \
    auto* manager = new zov_##stem##_manager;          \
    zov_##stem##_static_manager = manager;             \
    return TableManager::RegisterWithManager(manager); \
  }                                                    \
  static_assert(true, "a semicolon follows")

#pragma once
// The functions that every table has. The initialiser makes the table's manager and registers it with the
// framework, whose result it answers; the agent's loader calls each once.

struct ZOVTableInfo;

#define ZOV_TABLE(stem, ...) \
  int zov_##stem##_init();   \
  const ZOVTableInfo& zov_##stem##_table();
#include "tables/tables.def"

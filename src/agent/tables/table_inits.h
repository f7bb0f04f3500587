#pragma once
// The initialisers of the tables: each makes its table's manager and registers it with the framework. The
// result is the framework's, or 0x21060002 when there is no manager. Called once, by the agent's loader.

#define ZOV_TABLE(stem, ...) int zov_##stem##_init();
#include "agent/tables/tables.def"

#pragma once
// zov_<stem>_init of every table: makes the table's manager and registers it with the framework, whose result
// it answers. The agent's loader calls each once.

#define ZOV_TABLE(sort, stem, ...) int zov_##stem##_init();
#include "tables/tables.def"

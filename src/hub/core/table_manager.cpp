#include "framework/table_manager.h"

#include "hub/core/registry.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHTMGR");

TableManager::TableManager(const char* application, const char* table)
    : _application(application == nullptr ? "" : application), _table(table == nullptr ? "" : table) {
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&lock.mutex, &recursive);
  pthread_mutexattr_destroy(&recursive);
}

TableManager::~TableManager() {
  zov::hub::Registry::instance().removeTable(this);
  OSL1_DestroyLock(&lock);
}

void TableManager::Shutdown(unsigned long reason) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Table %s shut down, reason %u", _table.c_str(), reason);
  OSL1_GetLock(&lock);
  openRequests = LinkedList();
  OSL1_ReleaseLock(&lock);
}

int TableManager::RegisterWithManager(TableManager* manager) {
  constexpr int refused = 1;
  if (manager != nullptr && zov::hub::Registry::instance().addTable(manager)) return 0;
  DGT1_Printf(traceUnit, DGT1_ERROR, "Table %s is not registered: its name is empty or taken",
              manager == nullptr ? "(null)" : manager->table().c_str());
  return refused;
}

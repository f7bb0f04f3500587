#include "tables/table_services.h"

#include <atomic>

namespace zov {

static std::atomic<TableServices*> registered{nullptr};

TableServices* TableServices::current() {
  return registered;
}

void TableServices::setCurrent(TableServices* services) {
  registered = services;
}

}  // namespace zov

#include "server/server_services.h"

#include <atomic>

#include "config/node_names.h"

namespace {
std::atomic<ZOVServerServices*> currentServices{nullptr};
}  // namespace

ZOVServerServices& ZOVServerServices::current() {
  static auto* const defaults = new ZOVServerServices;  // never destroyed: threads may outlive main
  ZOVServerServices* const registered = currentServices.load();
  return registered ? *registered : *defaults;
}

void ZOVServerServices::setCurrent(ZOVServerServices* services) {
  currentServices = services;
}

RWCString ZOVServerServices::getCurrentSystemName() {
  return ZOVNodeNames::readSystemName();
}

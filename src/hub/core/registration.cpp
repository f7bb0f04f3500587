// What the agent tells of itself by the ARQ_ calls, into the registry.

#include <algorithm>
#include <cstring>

#include "framework/metrics.h"
#include "framework/process.h"
#include "hub/core/registry.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHREGI");

namespace {

using zov::hub::Registry;

std::string textOf(const char* text) {
  return text == nullptr ? "" : text;
}

}  // namespace

void zov::introduceAgent(AgentIdentity identity) {
  Registry::instance().setIdentity(std::move(identity));
}

void zov::introduceMetrics(MetricsSource* source) {
  Registry::instance().metrics = source;
}

void zov::registerReload(void (*reload)()) {
  Registry::instance().reload = reload;
}

void zov::registerStatus(std::string (*status)()) {
  Registry::instance().status = status;
}

int ARQ_RegisterAgentLoader(int (*loader)()) {
  Registry::instance().loader = loader;
  return 0;
}

int ARQ_SetSubsystemId(const char* id) {
  Registry::instance().setSubsystemId(textOf(id));
  return 0;
}

const char* ARQ_GetSubsystemId() {
  return Registry::instance().subsystemId();
}

int ARQ_SetVersionUsingProduct(const char* product, char* out, int size) {
  Registry::instance().setProduct(textOf(product));
  if (out == nullptr || size <= 0) return 1;
  const std::string version = Registry::instance().identity().version;
  const std::size_t length = version.copy(out, static_cast<std::size_t>(size - 1));
  out[length] = '\0';
  return 0;
}

int ARQ_SetCurrency(int kind, int percent) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Currency %d is %d", kind, percent);
  return 0;
}

int ARQ_SetAffinity(const char* affinity) {
  Registry::instance().addAffinity(textOf(affinity));
  return 0;
}

int ARQ_RegisterCommandCallback(const char* prefix, long (*callback)(TqboxAutomationCapsule*)) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Commands of %s have a callback", textOf(prefix).c_str());
  Registry::instance().commandCallback = callback;
  return 0;
}

int ARQ_RegisterActionCallback(void (*callback)(const zov::ActionRecord&)) {
  Registry::instance().actionCallback = callback;
  return 0;
}

int ARQ_Subnode_Register_nAff(const char* name, const char* product, const char* version, int,
                              const char* affinity, const char* feature) {
  const bool queued = Registry::instance().queueSubnode(
      {textOf(name), textOf(product), textOf(version), textOf(affinity), textOf(feature)});
  return queued ? 0 : 1;
}

int ARQ_Subnode_Deregister(const char* name) {
  return Registry::instance().queueSubnodeRemoval(textOf(name)) ? 0 : 1;
}

int ARQ_Subnode_SendRequest() {
  Registry::instance().applySubnodes();
  return 0;
}

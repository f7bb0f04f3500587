#include "server/collector_variables.h"

#include <algorithm>

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVASVAR");

namespace zov {

namespace {

/// What a variable or property takes of memory.
template <class Variable>
std::size_t bytesOf(const Variable& variable) {
  return sizeof variable + textBytes(variable.getKey()) + textBytes(variable.getValue());
}

}  // namespace

void CollectorVariables::clear() {
  holding(_envVariablesLock, Exclusive, [&]() ZOV_REQUIRES(_envVariablesLock) {
    _envVariables.clear();
    _envMemory.clear();
  });
  holding(_jvmPropertiesLock, Exclusive, [&]() ZOV_REQUIRES(_jvmPropertiesLock) {
    _jvmProperties.clear();
    _jvmMemory.clear();
  });
}

const ZOVBudget* CollectorVariables::addEnvVariable(const ZOVTSLKeyValueSample& sample) {
  ZOV_TRACE(Minor);
  const ZOVEnvVariableSample variable(sample.name, sample.value, ZOVEnvVariableSample::VariableCollector);
  const auto same = [&](const ZOVEnvVariableSample& known) { return known.isEqual(&variable); };
  return holding(_envVariablesLock, Exclusive, [&]() ZOV_REQUIRES(_envVariablesLock) -> const ZOVBudget* {
    if (_envVariables.size() >= Maximum || std::ranges::any_of(_envVariables, same)) return nullptr;
    if (const ZOVBudget* const full = _envMemory.charge(bytesOf(variable))) return full;
    _envVariables.push_back(variable);
    return nullptr;
  });
}

const ZOVBudget* CollectorVariables::addJavaProperty(const ZOVTSLKeyValueSample& sample) {
  ZOV_TRACE(Minor);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "\nJava Property %s = %s", sample.name.data(), sample.value.data());
  const ZOVTSLJavaProperty property(sample.name, sample.value);
  const auto same = [&](const ZOVTSLJavaProperty& known) { return known.getKey() == sample.name; };
  return holding(_jvmPropertiesLock, Exclusive, [&]() ZOV_REQUIRES(_jvmPropertiesLock) -> const ZOVBudget* {
    const auto former = std::ranges::find_if(_jvmProperties, same);
    if (former != _jvmProperties.end()) {
      _jvmMemory.release(bytesOf(*former));
      _jvmProperties.erase(former);
    }
    if (_jvmProperties.size() >= Maximum) return nullptr;
    if (const ZOVBudget* const full = _jvmMemory.charge(bytesOf(property))) return full;
    _jvmProperties.push_back(property);
    return nullptr;
  });
}

bool CollectorVariables::findEnvVariable(std::string_view name, ZOVEnvVariableSample::_VariableType type,
                                         RWCString& value) const {
  ZOV_TRACE(Restricted);
  const auto isMeant = [&](const ZOVEnvVariableSample& variable) {
    return variable.getKey().view() == name &&
           (type == ZOVEnvVariableSample::VariableAny || variable.getVariableType() == type);
  };
  return holding(_envVariablesLock, Shared, [&]() ZOV_REQUIRES_SHARED(_envVariablesLock) {
    const auto found = std::ranges::find_if(_envVariables, isMeant);
    if (found == _envVariables.end()) return false;
    value = found->getValue();
    return true;
  });
}

bool CollectorVariables::findJavaProperty(std::string_view name, RWCString& value) const {
  ZOV_TRACE(Restricted);
  const RWCString wanted(name);
  const auto isMeant = [&](const ZOVTSLJavaProperty& property) { return property.getKey() == wanted; };
  const bool known = holding(_jvmPropertiesLock, Shared, [&]() ZOV_REQUIRES_SHARED(_jvmPropertiesLock) {
    const auto found = std::ranges::find_if(_jvmProperties, isMeant);
    if (found == _jvmProperties.end()) return false;
    value = found->getValue();
    return true;
  });
  if (known) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Java property %s name=%s, value=%s", wanted.data(), wanted.data(),
                value.data());
  } else {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Java property %s not found, no property returned", wanted.data());
  }
  return known;
}

}  // namespace zov

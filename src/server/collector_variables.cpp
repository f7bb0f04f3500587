#include "server/collector_variables.h"

#include <algorithm>

#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVASVAR");

namespace zov {

void CollectorVariables::clear() {
  holding(_envVariablesLock, Exclusive, [&]() ZOV_REQUIRES(_envVariablesLock) { _envVariables.clear(); });
  holding(_jvmPropertiesLock, Exclusive, [&]() ZOV_REQUIRES(_jvmPropertiesLock) { _jvmProperties.clear(); });
}

void CollectorVariables::addEnvVariable(const ZOVTSLKeyValueSample& sample) {
  ZOV_TRACE(Minor);
  const ZOVEnvVariableSample variable(sample.name, sample.value, ZOVEnvVariableSample::VariableCollector);
  const auto same = [&](const ZOVEnvVariableSample& known) { return known.isEqual(&variable); };
  holding(_envVariablesLock, Exclusive, [&]() ZOV_REQUIRES(_envVariablesLock) {
    if (_envVariables.size() < Maximum && std::ranges::none_of(_envVariables, same)) {
      _envVariables.push_back(variable);
    }
  });
}

void CollectorVariables::addJavaProperty(const ZOVTSLKeyValueSample& sample) {
  ZOV_TRACE(Minor);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "\nJava Property %s = %s", sample.name.data(), sample.value.data());
  const ZOVTSLJavaProperty property(sample.name, sample.value);
  const auto same = [&](const ZOVTSLJavaProperty& known) { return known.getKey() == sample.name; };
  holding(_jvmPropertiesLock, Exclusive, [&]() ZOV_REQUIRES(_jvmPropertiesLock) {
    std::erase_if(_jvmProperties, same);
    if (_jvmProperties.size() < Maximum) _jvmProperties.push_back(property);
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

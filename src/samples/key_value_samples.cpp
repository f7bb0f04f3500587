#include "samples/key_value_samples.h"

bool ZOVKeyValueBaseSample::isEqual(const RWCollectable* other) const {
  if (other == nullptr || other->isA() != isA()) return false;
  const auto* that = static_cast<const ZOVKeyValueBaseSample*>(other);
  return key == that->key && value == that->value;
}

bool ZOVEnvVariableSample::isEqual(const RWCollectable* other) const {
  return ZOVKeyValueBaseSample::isEqual(other) &&
         variableType == static_cast<const ZOVEnvVariableSample*>(other)->variableType;
}

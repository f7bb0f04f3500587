#pragma once
// The parsed entries of a server's environment and JVM properties: a name and a value, kept in the server's
// lists under the locks of those lists.

#include "runtime/collectable.h"

class ZOVKeyValueBaseSample : public ZOVCollectable {
 public:
  ZOVKeyValueBaseSample(const RWCString& itsKey, const RWCString& itsValue) : key(itsKey), value(itsValue) {}
  RWClassID isA() const override { return 31090; }
  unsigned int hash() const override { return key.hash(); }
  /// Same class, key and value.
  bool isEqual(const RWCollectable* other) const override;

  const RWCString& getKey() const { return key; }
  const RWCString& getValue() const { return value; }

 private:
  RWCString key, value;
};

class ZOVEnvVariableSample : public ZOVKeyValueBaseSample {
 public:
  /// Where the variable was told: by the agent's own configuration, the statistics, or the collector.
  enum _VariableType : int { VariableAny = 0, VariableStatistics = 1, VariableCollector = 2 };

  ZOVEnvVariableSample(const RWCString& itsKey, const RWCString& itsValue, int type)
      : ZOVKeyValueBaseSample(itsKey, itsValue), variableType(type) {}
  RWClassID isA() const override { return 31091; }
  /// As the base, with the type.
  bool isEqual(const RWCollectable* other) const override;
  int getVariableType() const { return variableType; }

 private:
  int variableType;
};

class ZOVTSLJavaProperty : public ZOVKeyValueBaseSample {
 public:
  using ZOVKeyValueBaseSample::ZOVKeyValueBaseSample;
  RWClassID isA() const override { return 31092; }
};

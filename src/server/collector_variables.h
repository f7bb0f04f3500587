#pragma once
// zov::CollectorVariables: the environment variables and Java properties of a server, as its collector tells
// them at each session. A member of the session. Any thread may look; "EnvVariablesLock" and
// "JVMPropertiesLock" guard one list each, and stand alone.

#include <deque>
#include <string_view>

#include "runtime/lock.h"
#include "samples/key_value_samples.h"
#include "samples/sample_classes.h"

namespace zov {

class CollectorVariables {
 public:
  static constexpr std::size_t Maximum = 10'000;  ///< of each list; more are not kept

  void clear();
  void addEnvVariable(const ZOVTSLKeyValueSample& sample);   ///< one that is equal to a known one is dropped
  void addJavaProperty(const ZOVTSLKeyValueSample& sample);  ///< replaces the one of that name
  /// Type VariableAny finds a variable of any type. False when there is none.
  bool findEnvVariable(std::string_view name, ZOVEnvVariableSample::_VariableType type,
                       RWCString& value) const;
  bool findJavaProperty(std::string_view name, RWCString& value) const;

 private:
  mutable ZOVLock _envVariablesLock{"EnvVariablesLock"};
  std::deque<ZOVEnvVariableSample> _envVariables ZOV_GUARDED_BY(_envVariablesLock);
  mutable ZOVLock _jvmPropertiesLock{"JVMPropertiesLock"};
  std::deque<ZOVTSLJavaProperty> _jvmProperties ZOV_GUARDED_BY(_jvmPropertiesLock);
};

}  // namespace zov

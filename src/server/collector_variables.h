#pragma once
// zov::CollectorVariables: the environment variables and Java properties of a server, as its collector tells
// them at each session. A member of the session. Any thread may look; "EnvVariablesLock" and
// "JVMPropertiesLock" guard one list each, and stand alone.

#include <deque>
#include <string_view>

#include "runtime/lock.h"
#include "runtime/memory_account.h"
#include "samples/key_value_samples.h"
#include "samples/sample_classes.h"

namespace zov {

class CollectorVariables {
 public:
  static constexpr std::size_t Maximum = 10'000;  ///< of each list; more are not kept

  void clear();
  // Both answer null, or the budget of memory that the sample did not fit in: it is not kept then.
  const ZOVBudget* addEnvVariable(const ZOVTSLKeyValueSample& sample);   ///< one that is known is dropped
  const ZOVBudget* addJavaProperty(const ZOVTSLKeyValueSample& sample);  ///< replaces the one of that name
  /// Type VariableAny finds a variable of any type. False when there is none.
  bool findEnvVariable(std::string_view name, ZOVEnvVariableSample::_VariableType type,
                       RWCString& value) const;
  bool findJavaProperty(std::string_view name, RWCString& value) const;

 private:
  mutable ZOVLock _envVariablesLock{"EnvVariablesLock"};
  std::deque<ZOVEnvVariableSample> _envVariables ZOV_GUARDED_BY(_envVariablesLock);
  MemoryAccount _envMemory{zovBudgets().environment, &MemoryAccount::allServers()};
  mutable ZOVLock _jvmPropertiesLock{"JVMPropertiesLock"};
  std::deque<ZOVTSLJavaProperty> _jvmProperties ZOV_GUARDED_BY(_jvmPropertiesLock);
  MemoryAccount _jvmMemory{zovBudgets().properties, &MemoryAccount::allServers()};
};

}  // namespace zov

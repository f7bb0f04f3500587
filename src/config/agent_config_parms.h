#pragma once
// ZOVAgentConfigParms: the agent's own parameters, one get and one set a line of agent_parms.def. Plain reads
// and stores without a check; written while the configuration is read, before any other thread exists, and
// never after.

#include "foundation/string.h"
#include "runtime/memory_manager.h"

class ZOVAgentConfigParms : public ZOVMemoryManager {
 public:
#define ZOV_AGENT_NUMBER(member, Name, initial, meaning) \
  int get##Name() const {                                \
    return _##member;                                    \
  }                                                      \
  void set##Name(int value) {                            \
    _##member = value;                                   \
  }
#define ZOV_AGENT_TEXT(member, Name, initial, meaning) \
  const RWCString& get##Name() const {                 \
    return _##member;                                  \
  }                                                    \
  void set##Name(const char* value) {                  \
    if (value) _##member = value;                      \
  }
#include "config/agent_parms.def"

 private:
#define ZOV_AGENT_NUMBER(member, Name, initial, meaning) int _##member = initial;
#define ZOV_AGENT_TEXT(member, Name, initial, meaning) RWCString _##member = initial;
#include "config/agent_parms.def"
};

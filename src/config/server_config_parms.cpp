#include "config/server_config_parms.h"

#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSPRM");

bool ZOVAppServerConfigParms::isEqual(const RWCollectable* other) const {
  ZOV_TRACE(Minor);
  if (!other || other->isA() != classIsA()) return false;
  const auto* parms = static_cast<const ZOVAppServerConfigParms*>(other);
  if (_name == parms->_name) return _serverRoot == parms->_serverRoot;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Not Equal: (%s == %s) Name only", _name.data(), parms->_name.data());
  return false;
}

void ZOVAppServerConfigParms::setHistoricalCollection(const char* words) {
  const unsigned int flag = zov::historicalCollectionFlag(words);
  if (flag == ZOV_HISTORY_INVALID) return;
  _historicalCollection = words;
  _historicalCollectionFlag = flag;
}

#include <algorithm>

#include "agent/agent.h"
#include "framework/tqbox.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCNAME");

RWCString ZOVAgent::getCurrentSystemName() {
  ZOV_TRACE(Minor);
  if (_systemName.isNull()) _systemName = ZOVNodeNames::readSystemName();
  return _systemName;
}

RWCString ZOVAgent::getHostName(const RWCString& /*subsystem*/) {
  ZOV_TRACE(Public);
  const ZOVAgentConfigParms* parms = getConfigParms();
  return ZOVNodeNames::getHostName(parms ? parms->getAgentId() : RWCString(), getCurrentSystemName());
}

RWCString ZOVAgent::assembleSubnodeName(RWCString serverName, RWCString hostName) {
  return ZOVNodeNames::assembleSubnodeName(std::move(serverName), std::move(hostName));
}

RWCString ZOVAgent::editSubNodeComponent(RWCString& component) {
  return ZOVNodeNames::editSubNodeComponent(component);
}

RWCString ZOVAgent::getTruncatedString(const char* text, unsigned int maximum, _StringTruncationType type) {
  return ZOVNodeNames::getTruncatedString(text, maximum, type);
}

RWCString ZOVAgent::DetermineName(tqbox* request, int row) {
  ZOV_TRACE(Public);
  if (request == nullptr) return {};
  RWCString name;
  ColumnInfo column;
  if (request->requestDetail != nullptr && request->requestDetail->table == TqboxActionTable) {
    name = RWCString(request->originText);
    if (name.isNull()) {
      request->ResetGetSubnode();
      name = request->GetSubnode();
    }
  } else if (request->GetColumnInfoByName(&column, "ORIGINNODE") == 0) {
    if (const char* bytes = request->rowAt(row)) {
      name =
          RWCString(bytes + column.offset, std::min<std::size_t>(column.size, ZOVNodeNames::MaximumLength));
    }
  }
  return name.strip(RWCString::trailing);
}

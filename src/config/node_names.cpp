#include "config/node_names.h"

#include <sys/utsname.h>

#include <algorithm>

#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVNAMES");

namespace {
constexpr std::string_view ComponentCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789$#_";
constexpr std::size_t SuffixLength = 4;
constexpr std::size_t ShortHostLength = 8;
constexpr const char* IndicateTruncation = "...";
}  // namespace

RWCString ZOVNodeNames::readSystemName() {
  ZOV_TRACE(Public);
  utsname names;
  RWCString name = uname(&names) == 0 ? names.nodename : "$UNKNOWN$";
  if (const std::size_t point = name.first('.'); point != RW_NPOS) name.remove(point);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "SystemName=%s", name.data());
  return ZOVUTF8Handler::createFromLocalString(name.data());
}

RWCString ZOVNodeNames::getHostName(const RWCString& agentId, const RWCString& systemName) {
  ZOV_TRACE(Public);
  RWCString name;
  if (!agentId.isNull()) name = agentId + ":";
  RWCString host =
      ZOVUTF8Handler(systemName).convertToSBLocalString(ZOVUTF8Handler::defaultMBSubstituteString.data());
  constexpr std::size_t Rest = SuffixLength + 1;
  if (name.length() + host.length() + Rest > MaximumLength) {
    const std::size_t available = MaximumLength - Rest;
    host.resize(std::min(host.length(), available - std::min(available, name.length())));
  }
  return name + host + ":" + AgentSuffix;
}

RWCString ZOVNodeNames::editSubNodeComponent(RWCString& component) {
  std::string edited = component.str();
  for (char& c : edited) {
    if (ComponentCharacters.find(c) == std::string_view::npos) c = '_';
  }
  component = RWCString(std::move(edited));
  return component;
}

RWCString ZOVNodeNames::assembleSubnodeName(RWCString serverName, RWCString hostName) {
  ZOV_TRACE(Public);
  editSubNodeComponent(serverName);
  editSubNodeComponent(hostName);
  constexpr std::size_t Rest = SuffixLength + 2;
  if (serverName.length() + hostName.length() + Rest > MaximumLength) {
    if (hostName.length() > ShortHostLength) hostName.resize(ShortHostLength);
    const std::size_t available = MaximumLength - Rest - hostName.length();
    if (serverName.length() > available) serverName.remove(0, serverName.length() - available);
  }
  return serverName + ":" + hostName + ":" + SubnodeSuffix;
}

RWCString ZOVNodeNames::getTruncatedString(const char* text, unsigned int maximum,
                                           _StringTruncationType type) {
  RWCString whole(text);
  if (whole.length() <= maximum) return whole;
  const RWCString mark(IndicateTruncation);
  const std::size_t room = maximum > mark.length() ? maximum - mark.length() : 0;
  const RWCString kept = ZOVUTF8Handler(whole).safelyTruncate(
      static_cast<unsigned int>(room),
      type == TruncateStart ? ZOVUTF8Handler::TruncateFront : ZOVUTF8Handler::TruncateEnd);
  return type == TruncateStart ? mark + kept : kept + mark;
}

// What the resource manager and the JVMs that it talks to say to each other in texts.

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "platform/message_rate.h"
#include "platform/services.h"
#include "runtime/trace_scope.h"
#include "server/resource_manager_proxy.h"

static DGT1_Unit traceUnit("ZOVRSCMT");

namespace {

struct DataCollectionMethod {
  const char* name;
  int parameters;
};

// The last four count one parameter beside a descriptor of two, and their descriptors end in the method's
// name: the other side resolves them by that name.
constexpr std::array<DataCollectionMethod, ZOVResourceManagerProxy::DataCollectionMethods> Methods{{
    {"getAppServerSample", 1},
    {"getContainerSample", 2},
    {"getTransactionSample", 2},
    {"getObjectPoolSample", 2},
    {"getEJBSample", 3},
    {"getEJBMethodSample", 4},
    {"getDBConnectPoolSample", 2},
    {"getApplicationSample", 2},
    {"getServletSample", 3},
    {"getCacheSample", 1},
    {"getCacheTemplateSample", 2},
    {"getJ2CPoolSample", 2},
    {"getORBSample", 1},
    {"getORBInterceptorSample", 2},
    {"getServletSessionsSample", 2},
    {"getThreadPoolSample", 2},
    {"getWLMServerSample", 1},
    {"getWLMClientSample", 1},
    {"getMailServiceSample", 1},
    {"getIMapServiceSample", 1},
    {"getPopServiceSample", 1},
    {"getQueueManagerSample", 1},
}};
constexpr int FirstModelerMethod = 18;

bool isMethod(int kind) {
  return kind >= 0 && kind < ZOVResourceManagerProxy::DataCollectionMethods;
}

std::string makeSignature(int kind) {
  const int texts = kind < FirstModelerMethod ? Methods[static_cast<std::size_t>(kind)].parameters : 2;
  std::string signature = "(";
  for (int i = 0; i < texts; ++i) signature += "Ljava/lang/String;";
  if (kind < FirstModelerMethod) return signature + ")Lcom/corvid/qlf/tsl5/ZOVPSISample;";
  return signature + ")Lcom/halden/meranti/zov/resourcemanager/modeler/tsl5/" +
         Methods[static_cast<std::size_t>(kind)].name;
}

using Description = ZOVResourceManagerProxy::AppServerDescription;

struct DescriptionKeyword {
  std::string_view keyword;
  RWCString Description::*text;  // null for a number, and for what is known and not used
};
constexpr DescriptionKeyword DescriptionKeywords[] = {
    {"instanceName", &Description::serverName},
    {"tslNodeName", &Description::nodeName},
    {"tslCellName", &Description::cellName},
    {"stdoutFileName", &Description::logFile},
    {"stderrFileName", &Description::errorLogFile},
    {"verboseGCFileName", &Description::verboseGCLogFile},
    {"clusterName", &Description::cluster},
    {"shortCellName", &Description::shortCellName},
    {"genericServerShortName", &Description::genericShortName},
    {"serverShortName", &Description::specificShortName},
    {"processId", nullptr},
    {"startTime", nullptr},
    {"type", nullptr},
    {"procDefOutFileName", nullptr},
    {"procDefErrFileName", nullptr},
    {"currentStatus", nullptr},
};

template <class Number>
void setNumber(Number& number, std::string_view keyword, std::string_view value) {
  if (std::from_chars(value.data(), value.data() + value.size(), number).ec == std::errc()) return;
  DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "The value of %s is no number: %s", RWCString(keyword).data(),
                     RWCString(value).data());
}

void setNumber(Description& description, std::string_view keyword, std::string_view value) {
  if (keyword == "processId") {
    setNumber(description.processId, keyword, value);
  } else if (keyword == "startTime") {
    setNumber(description.startTime, keyword, value);
  } else if (keyword == "type") {
    setNumber(description.type, keyword, value);
  }
}

void setField(Description& description, std::string_view keyword, const RWCString& value) {
  for (const DescriptionKeyword& known : DescriptionKeywords) {
    if (known.keyword != keyword) continue;
    if (known.text) {
      description.*known.text = value;
    } else {
      setNumber(description, keyword, value.view());
    }
    return;
  }
  DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Unexpected keyword = %s, value = %s", RWCString(keyword).data(),
                     value.data());
}

}  // namespace

const char* ZOVResourceManagerProxy::getDataCollectionMethodName(int kind) {
  return isMethod(kind) ? Methods[static_cast<std::size_t>(kind)].name : nullptr;
}

int ZOVResourceManagerProxy::getDataCollectionMethodNumParms(int kind) {
  return isMethod(kind) ? Methods[static_cast<std::size_t>(kind)].parameters : 0;
}

const char* ZOVResourceManagerProxy::getDataCollectionMethodSignature(int kind) {
  static const auto* const signatures = [] {
    auto* made = new std::array<std::string, DataCollectionMethods>;
    for (int i = 0; i < DataCollectionMethods; ++i) (*made)[static_cast<std::size_t>(i)] = makeSignature(i);
    return made;
  }();
  return isMethod(kind) ? (*signatures)[static_cast<std::size_t>(kind)].c_str() : nullptr;
}

const char* ZOVResourceManagerProxy::getExceptionClassName() {
  return "com/halden/meranti/zov/resourcemanager/exception/ZOVException";
}

RWCString ZOVResourceManagerProxy::createLogFileName() {
  RWCString name(OSL1_GetEnv("TQBOX_LOG_PATH", ""));
  if (!name.isNull()) name.append('/');
  return name + "java.log";
}

ZOVResourceManagerProxy::AppServerDescription ZOVResourceManagerProxy::parseAppServerSample(
    const char* text) {
  ZOV_TRACE(Public);
  AppServerDescription description;
  std::string_view rest(text ? text : "");
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (line.empty()) break;
    const std::size_t equals = line.find('=');
    const RWCString keyword(line.substr(0, equals));
    const RWCString value(equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1));
    DGT1_Printf(traceUnit, DGT1_DETAIL, "AppServer::%s = \"%s\"", keyword.data(), value.data());
    setField(description, keyword.view(), value);
  }
  return description;
}

#include <algorithm>
#include <climits>
#include <cstring>

#include "agent/action_record.h"
#include "agent/agent.h"
#include "agent/take_action_parser.h"
#include "diag/agent_log.h"
#include "diag/quoted_string_parser.h"
#include "diag/utf8_handler.h"
#include "framework/tqbox.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server.h"

static DGT1_Unit traceUnit("ZOVCTAKE");

namespace {
constexpr const char* Delimiters = " \t\n";
constexpr const char* NodeSuffix = ":ZOVA";  // of the agent's own node
constexpr int KeepAsItIs = -1;               // a level or percentage that was not given

/// What a return code is in the reply, and to the framework.
struct Meaning {
  unsigned int code;
  int value;
  CommandOutcome outcome;
};
constexpr Meaning MapArray[] = {{ZOV_OK, 1, CommandOutcome::Done},
                                {ZOV_INVALID_COMMAND, 2, CommandOutcome::BadCommand},
                                {ZOV_NO_SUCH_SERVER, 3, CommandOutcome::UnknownNode},
                                {ZOV_COMMAND_QUEUED, 4, CommandOutcome::Queued},
                                {ZOV_REQUEST_COLLECTION_SUSPENDED, 5, CommandOutcome::Conflict},
                                {ZOV_SERVER_NOT_STOPPED, 0, CommandOutcome::Conflict}};

Meaning meaningOf(unsigned int rc) {
  const auto* found = std::ranges::find(MapArray, rc, &Meaning::code);
  return found == std::end(MapArray) ? Meaning{rc, 0, CommandOutcome::Failed} : *found;
}

/// The command's text in the local code page, without the product's prefix.
RWCString commandText(const TqboxAutomationCapsule& capsule) {
  const std::size_t length = ::strnlen(capsule.command, TqboxAutomationCapsule::CommandBytes);
  RWCString text =
      ZOVUTF8Handler(RWCString(capsule.command, length)).convertToLocalString().strip(RWCString::trailing);
  if (text(0, 3) == "OV:") text.remove(0, 3);
  return text;
}

/// What is left of the command, each token with a blank before it.
RWCString readOptions(ZOVQuotedStringParser& parser) {
  RWCString options;
  int done = 0;
  for (RWCString token = parser.next(done, Delimiters); done == 0; token = parser.next(done, Delimiters)) {
    options += " " + token;
  }
  return options;
}

bool isOwnNode(const RWCString& node) {
  const std::size_t length = std::strlen(NodeSuffix);
  return node.length() >= length &&
         node(node.length() - length, length).equals(NodeSuffix, RWCString::ignoreCase);
}

bool hasArgument(ZOVQuotedStringParser& parser) {
  int done = 0;
  return !parser.next(done, Delimiters).isNull();
}

/// Reads an optional number from `minimum` to `maximum`; KeepAsItIs when there is none. False for anything
/// else.
bool readNumber(ZOVQuotedStringParser& parser, int minimum, int maximum, int& number) {
  int done = 0;
  const RWCString token = parser.next(done, Delimiters);
  number = KeepAsItIs;
  if (token.isNull()) return true;
  long long given = 0;
  if (!zov::parseDigits(token, given) || given < minimum || given > maximum) return false;
  number = static_cast<int>(given);
  return true;
}

/// A command's name as it may be shown: what is no name at all can hold anything, a secret too.
RWCString shownName(const RWCString& name) {
  constexpr std::string_view Letters = ":ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  const std::size_t end = std::min(name.view().find_first_not_of(Letters), name.length());
  return ZOVUTF8Handler::createFromLocalString(name(0, end).data());
}

void logResult(const RWCString& name, const RWCString& serverName, unsigned int rc) {
  ZOV_FUNCTION;
  if (rc == ZOV_COMMAND_QUEUED) return;  // the work still lies ahead
  const RWCString command = shownName(name);
  if (rc == ZOV_OK) {
    ZOV_LOG_ERROR(ZOVA0071I, command, serverName);
  } else {
    ZOV_LOG_ERROR(ZOVA0072E, command, serverName, ZOVReturnCode::getDescription(rc));
  }
}
}  // namespace

/// What is in hand while a command is carried out.
struct ZOVAgent::Command {
  RWCString name;                                // local code page
  std::shared_ptr<ZOVApplicationServer> server;  // null until found
  RWCString serverName = "unknown";              // kept, since the handler may end the server
};

namespace {

using Handler = unsigned int (ZOVAgent::*)(ZOVQuotedStringParser&, ZOVApplicationServer*);

struct NamedHandler {
  const char* name;
  Handler handler;
  bool showsArguments = false;  // in the record: they are numbers, and no secrets
};
constexpr NamedHandler Handlers[] = {
    {"StartAppSvr", &ZOVAgent::handleAppServerStartCommand},
    {"StopAppSvr", &ZOVAgent::handleAppServerStopCommand},
    {"CycleAppSvr", &ZOVAgent::handleAppServerRecycleCommand},
    {"StartResourceMonitor", &ZOVAgent::handleStartResourceDataCollectionCommand},
    {"StopResourceMonitor", &ZOVAgent::handleStopResourceDataCollectionCommand},
    {"StartGCMonitor", &ZOVAgent::handleStartGCDataCollectionCommand},
    {"StopGCMonitor", &ZOVAgent::handleStopGCDataCollectionCommand},
    {"StartRequestMonitor", &ZOVAgent::handleStartRequestDataCollectionCommand, true},
    {"StopRequestMonitor", &ZOVAgent::handleStopRequestDataCollectionCommand},
    {"SetRequestSamplingRate", &ZOVAgent::handleSetRequestDataCollectionCommand, true},
};

const NamedHandler* findHandler(const RWCString& name) {
  const auto* const found = std::ranges::find_if(
      Handlers, [&](const NamedHandler& entry) { return name.equals(entry.name, RWCString::ignoreCase); });
  return found == std::end(Handlers) ? nullptr : found;
}

/// Takes a parser of its own, since it reads what the handler is to read.
std::string shownCommand(const RWCString& name, ZOVQuotedStringParser parser) {
  const NamedHandler* const known = findHandler(name);
  const RWCString options = readOptions(parser);
  const bool isShown = options.isNull() || (known != nullptr && known->showsArguments);
  return (shownName(name) + (isShown ? options : RWCString(" ***"))).str();
}

}  // namespace

long ZOVAgent::handleQTCommand(TqboxAutomationCapsule* capsule) {
  ZOV_TRACE(Public);
  Command command;
  unsigned int rc = ZOV_NO_SUCH_SERVER;
  ZOVAgent* agent = current();
  const zov::CarriedAction carried(capsule->action);
  const auto failure = guarded(ZOV_PLACE, [&] {
    if (agent != nullptr) rc = agent->carryOut(*capsule, command);
  });
  if (failure) rc = failure->getReturnCode();

  const Meaning meaning = failure ? Meaning{rc, 0, CommandOutcome::Failed} : meaningOf(rc);
  const std::string reply = DGT1_FormatText("TYPE=ATR;ATTR=ZOVCOMND.RESULT;ENUM=%d;~", meaning.value);
  capsule->rowOrStatus = static_cast<std::int32_t>(rc);
  capsule->SetMessage(reply.c_str());
  capsule->SetOutcome(meaning.outcome, ZOVReturnCode::getDescription(rc));
  if (capsule->owner != nullptr) capsule->owner->FinishedAutomationCommand(capsule);
  logResult(command.name, command.serverName, rc);
  return static_cast<long>(rc);
}

unsigned int ZOVAgent::carryOut(const TqboxAutomationCapsule& capsule, Command& command) {
  ZOV_TRACE(Private);
  RWCString subnode = DetermineName(capsule.owner, capsule.rowOrStatus);
  const RWCString text = commandText(capsule);
  ZOVQuotedStringParser parser(text, '\'');
  int done = 0;
  command.name = parser.next(done, Delimiters);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "CommandName = <%s>", shownName(command.name).data());

  // Two separators make a subnode's name, but for the agent's own with an alternative id; a request that came
  // through the agent's own node names the server.
  const std::size_t separator = subnode.first(getSysSepChar());
  if (separator == subnode.last(getSysSepChar()) || isOwnNode(subnode)) {
    const RWCString serverToken = parser.next(done, Delimiters);
    subnode = assembleSubnodeName(serverToken, subnode(0, separator));
  }
  if (_applicationContext != nullptr) {
    command.server = _applicationContext->findAppServerMatchingSubnode(subnode.data());
  }
  if (capsule.action) {
    capsule.action->describe(shownCommand(command.name, parser),
                             command.server ? command.server->getSubnodeNameUTF8().str() : "");
  }
  if (!command.server) return ZOV_NO_SUCH_SERVER;
  command.serverName = command.server->getName();
  return perform(parser, command);
}

unsigned int ZOVAgent::perform(ZOVQuotedStringParser& parser, const Command& command) {
  ZOV_TRACE(Private);
  if (command.name.equals("RemSubNode", RWCString::ignoreCase)) {
    return handleRemoveSubNodeCommand(command.server);
  }
  const NamedHandler* const known = findHandler(command.name);
  return known ? (this->*known->handler)(parser, command.server.get())
               : static_cast<unsigned int>(ZOV_INVALID_COMMAND);
}

unsigned int ZOVAgent::handleRemoveSubNodeCommand(const std::shared_ptr<ZOVApplicationServer>& server) {
  ZOV_TRACE(Public);
  const unsigned int rc = _applicationContext->deleteAppServerContext(server);
  // Its collector may have gone unnoticed since the last poll; then the next try finds it so.
  if (rc == ZOV_SERVER_NOT_STOPPED) server->offerConnectivityTest();
  return rc;
}

unsigned int ZOVAgent::handleAppServerStartCommand(ZOVQuotedStringParser& parser,
                                                   ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  return server->startAppServer(readOptions(parser));
}

unsigned int ZOVAgent::handleAppServerStopCommand(ZOVQuotedStringParser& parser,
                                                  ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  return server->stopAppServer(readOptions(parser));
}

unsigned int ZOVAgent::handleAppServerRecycleCommand(ZOVQuotedStringParser& parser,
                                                     ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  const RWCString options = readOptions(parser);
  const ZOVReturnCode stopped = server->stopAppServer(options);
  return stopped == ZOV_COMMAND_QUEUED ? server->startAppServer(options) : stopped;
}

unsigned int ZOVAgent::handleStartResourceDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                                ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (hasArgument(parser)) return ZOV_INVALID_COMMAND;
  return server->resumeCollectingResourceData();
}

unsigned int ZOVAgent::handleStopResourceDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                               ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (hasArgument(parser)) return ZOV_INVALID_COMMAND;
  return server->suspendCollectingResourceData();
}

unsigned int ZOVAgent::handleStartGCDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                          ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (hasArgument(parser)) return ZOV_INVALID_COMMAND;
  return server->resumeCollectingGCData();
}

unsigned int ZOVAgent::handleStopGCDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                         ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (hasArgument(parser)) return ZOV_INVALID_COMMAND;
  return server->suspendCollectingGCData();
}

unsigned int ZOVAgent::handleStartRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                               ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  int level;
  if (!readNumber(parser, 0, INT_MAX, level)) return ZOV_INVALID_COMMAND;
  return server->processCollectRequest(level, KeepAsItIs);
}

unsigned int ZOVAgent::handleStopRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                              ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (hasArgument(parser)) return ZOV_INVALID_COMMAND;
  return server->suspendCollectingRequestData();
}

unsigned int ZOVAgent::handleSetRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                             ZOVApplicationServer* server) {
  ZOV_TRACE(Public);
  if (!server->CollectingRequestData()) return ZOV_REQUEST_COLLECTION_SUSPENDED;
  int percent;
  if (!readNumber(parser, 1, 100, percent)) return ZOV_INVALID_COMMAND;
  return server->processCollectRequest(KeepAsItIs, percent);
}

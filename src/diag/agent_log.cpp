#include "diag/agent_log.h"

#include <array>

#include "diag/utf8_handler.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCALOG");

namespace {

constexpr std::size_t KeyLength = 9;        // "ZOVA0001I"
constexpr std::size_t MostParameter = 512;  // as much as the catalogue takes of one

RWCString numberText(char kind, const DGT1_Arg& argument) {
  if (kind != 'x') return RWCString(DGT1_Format("%i", &argument, 1));
  const bool negative = argument.kind == DGT1_Arg::Kind::Signed && argument.asSigned < 0;
  if (negative) return RWCString(DGT1_FormatText("%X", static_cast<unsigned int>(argument.asSigned)));
  return RWCString(DGT1_Format("%X", &argument, 1));
}

DGT1_Line::Priority priorityOf(ZOVMessageSeverity severity) {
  constexpr DGT1_Line::Priority Priorities[] = {DGT1_Line::Information, DGT1_Line::Warning, DGT1_Line::Error,
                                                DGT1_Line::Critical};
  return Priorities[static_cast<std::size_t>(severity)];
}

/// The parameter number `index` of a message, in UTF-8.
RWCString parameterText(std::size_t index, char kind, const DGT1_Arg& argument, std::size_t most) {
  if (argument.kind == DGT1_Arg::Kind::Text) {
    RWCString text(argument.asText ? DGT1_Cut(argument.asText, most) : "(null)");
    DGT1_Printf(traceUnit, DGT1_DETAIL, "parm #%d char = \"%s\"", index, text.data());
    return text;
  }
  const RWCString text = numberText(kind, argument);
  if (kind == 'x') {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "parm #%d hex = %08X", index, argument);
  } else {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "parm #%d num = %d", index, argument);
  }
  return ZOVUTF8Handler::createFromLocalString(text.data());
}

void traceParameters(const ZOVMessageRow& row, std::span<const RWCString> parameters) {
  if (!traceUnit.on(DGT1_DETAIL)) return;
  RWCString line;
  for (const RWCString& parameter : parameters) {
    ZOVDebug_PrintUTF8::Buffer shown;
    line.append(line.isNull() ? "" : ", ");
    line.append(ZOVDebug_PrintUTF8(shown, parameter.data()).data());
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "About to retrieve message %s%04i%c with these\nparms: %s", "ZOVA",
              row.number, "IWES"[static_cast<int>(row.severity)], line.data());
}

}  // namespace

void ZOV_Log::SendMessage(const char* file, const char* function, int line, int message,
                          std::span<const DGT1_Arg> arguments, bool isError) const {
  if (!_names || message < 1 || message > _size) return;
  SendMessage(file, function, line, _names[message - 1], arguments, isError);
}

void ZOV_Agent_Log::SendMessage(const char* file, const char* function, int line, int message,
                                std::span<const DGT1_Arg> arguments, bool /*isError*/) const {
  ZOV_TRACE(Public);
  const ZOVMessageRow* row = zovFindMessage(message);
  if (!row || !_rates[static_cast<std::size_t>(message)].admit()) return;
  tellLeftOut(file, function, line);
  char text[ZOV_Agent_Log_Messages::ResultSize] = "";
  char localText[ZOV_Agent_Log_Messages::ResultSize] = "";
  // A message that does not fit with its texts is formed again with less of them.
  for (const std::size_t most : {MostParameter, std::size_t{400}, std::size_t{128}}) {
    form(*row, arguments, most, text, localText);
    if (text[0] != '\0') break;
  }
  publish(file, function, line, row->severity, text, localText);
}

void ZOV_Agent_Log::form(const ZOVMessageRow& row, std::span<const DGT1_Arg> arguments, std::size_t most,
                         Text& text, Text& localText) const {
  constexpr std::size_t Count = ZOV_Agent_Log_Messages::MaximumParameters;
  std::array<RWCString, Count> parameters;
  std::array<const char*, Count> texts;
  for (std::size_t i = 0; i < Count; ++i) {
    const bool given = i < row.parameters.size() && i < arguments.size();
    parameters[i] = given ? parameterText(i, row.parameters[i], arguments[i], most) : RWCString("(null)");
    texts[i] = parameters[i].data();
  }
  traceParameters(row, parameters);
  _messages.RetrieveMessage2(text, localText, sizeof text, zovenu.data(), "ZOVA", row.number, texts);
}

/// Of all kinds, since the one that was left out may not come again.
void ZOV_Agent_Log::tellLeftOut(const char* file, const char* function, int line) const {
  for (std::size_t number = 0; number < _rates.size(); ++number) {
    const unsigned leftOut = _rates[number].takeLeftOut();
    if (leftOut == 0) continue;
    const std::string_view key = std::string_view(zovenu[number]).substr(0, KeyLength);
    const std::string text =
        DGT1_FormatText("%s %u further messages of this kind were left out: %u a second are issued.",
                        std::string(key).c_str(), leftOut, zov::MessageRate::PerSecond);
    const ZOVMessageSeverity severity = zovFindMessage(static_cast<int>(number))->severity;
    publish(file, function, line, severity, text.c_str(), text.c_str());
  }
}

void ZOV_Agent_Log::publish(const char* file, const char* function, int line, ZOVMessageSeverity severity,
                            const char* text, const char* localText) const {
  const ZOVTime now = ZOVTime::currentTime();
  struct tm when = {};
  now.extract(&when);
  if (traceUnit.on(DGT1_MESSAGE)) {
    // Under the caller's file and line, so that the message shows as the caller's.
    const RWCString time = now.asString();
    const DGT1_Arg shown[] = {time.data(), static_cast<const char*>(localText)};
    DGT1_WriteFormatted(file, {line, priorityOf(severity)}, "%s %s", shown, std::size(shown));
  } else {  // the same text again would tell a reader nothing
    ZOVDebug_PrintUTF8::Buffer shown;
    DGT1_Printf(traceUnit, DGT1_ERROR, "%s", ZOVDebug_PrintUTF8(shown, text).data());
  }
  _receiver.postProductEvent(file, function, line, &when, static_cast<int>(severity), text);
}

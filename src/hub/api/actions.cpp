#include "hub/api/actions.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <optional>

#include "hub/api/json.h"
#include "hub/core/action_log.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/core/visit.h"

namespace zov::hub {
namespace {

constexpr const char* actionsPath = "/v1/actions";
constexpr const char* accepted = "; accepted is {\"node\": text, \"command\": text}";

/// How an outcome is told: the word of the answer, and the status of HTTP.
constexpr struct {
  CommandOutcome outcome;
  const char* word;
  unsigned status;
} outcomes[] = {{CommandOutcome::Done, "done", 200},
                {CommandOutcome::Queued, "queued", 202},
                {CommandOutcome::UnknownNode, "unknown_node", 404},
                {CommandOutcome::BadCommand, "bad_command", 422},
                {CommandOutcome::Conflict, "conflict", 409},
                {CommandOutcome::Failed, "failed", 502}};

const auto& toldAs(CommandOutcome wanted) {
  return *std::ranges::find_if(outcomes, [&](const auto& entry) { return entry.outcome == wanted; });
}

Answer answerOf(const TqboxAutomationCapsule& capsule, long status) {
  const auto& told = toldAs(capsule.outcome());
  Answer answer = jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "message", capsule.message());
    writeKey(writer, "status");
    writer.Int64(status);
    writeMember(writer, "result", told.word);
    writeMember(writer, "reason", capsule.reason());
    writer.EndObject();
  });
  answer.status = told.status;
  return answer;
}

struct Command {
  std::string node;
  std::string text;

  /// "" or a sentence about what is wrong.
  std::string read(std::string_view body);
  /// Gives the command to the callback and waits for it to finish.
  Answer run(const std::shared_ptr<RecordedAction>& action) const;

 private:
  std::string readMember(std::string_view name, const rapidjson::Value& value);
};

std::string Command::read(std::string_view body) {
  rapidjson::Document document;
  // Iterative: the depth of a hostile body may not become depth of the stack.
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(body.data(),
                                                                                         body.size());
  if (document.HasParseError()) {
    return "the body is not JSON: " + std::string(rapidjson::GetParseError_En(document.GetParseError())) +
           " At byte " + std::to_string(document.GetErrorOffset()) + accepted;
  }
  if (!document.IsObject()) return std::string("the body is not an object") + accepted;
  for (auto member = document.MemberBegin(); member < document.MemberEnd(); ++member) {
    std::string wrong = readMember({member->name.GetString(), member->name.GetStringLength()}, member->value);
    if (!wrong.empty()) return wrong;
  }
  if (node.empty() || text.empty()) {
    return std::string("the member ") + (node.empty() ? "node" : "command") + " is missing or empty" +
           accepted;
  }
  if (text.size() >= TqboxAutomationCapsule::CommandBytes) {
    return "the command has " + std::to_string(text.size()) + " bytes; accepted are at most " +
           std::to_string(TqboxAutomationCapsule::CommandBytes - 1);
  }
  return "";
}

std::string Command::readMember(std::string_view name, const rapidjson::Value& value) {
  std::string* const target = name == "node" ? &node : name == "command" ? &text : nullptr;
  if (target == nullptr) return "the body has a member " + quoted(name) + accepted;
  const std::string member = "the member " + std::string(name);
  if (!value.IsString()) return member + " is not a text" + accepted;
  target->assign(value.GetString(), value.GetStringLength());
  return target->find('\0') == std::string::npos ? "" : member + " has a zero character" + accepted;
}

Answer Command::run(const std::shared_ptr<RecordedAction>& action) const {
  const auto callback = Registry::instance().commandCallback.load();
  if (callback == nullptr) return Answer::error(503, "the agent does not take commands yet; try again later");

  std::optional<TqboxAutomationCapsule> finished;
  ContextInfo context;
  context.origin = node;
  context.subnodes = {node};
  context.finished = [&](const TqboxAutomationCapsule& capsule) { finished = capsule; };
  const Visit visit;
  action->begin();
  Request request({Registry::instance().product(), TqboxActionTable}, std::move(context));
  TqboxAutomationCapsule capsule;
  capsule.owner = &request.box();
  text.copy(capsule.command, TqboxAutomationCapsule::CommandBytes - 1);
  capsule.action = action;
  const long result = callback(&capsule);
  const TqboxAutomationCapsule& last = finished ? *finished : capsule;
  action->end(last.outcome(), last.reason(), "");
  Answer answer = answerOf(last, finished ? last.rowOrStatus : result);
  if (last.outcome() == CommandOutcome::Queued) {
    answer.location = std::string(actionsPath) + "/" + std::to_string(action->number());
  }
  return answer;
}

const char* resultOf(const ActionRecord& record) {
  switch (record.state) {
    case ActionRecord::State::Waiting:
      return "waiting";
    case ActionRecord::State::Running:
      return "running";
    case ActionRecord::State::Ended:
      break;
  }
  return toldAs(record.outcome).word;
}

/// UTC, in seconds: 2026-11-23T13:04:52Z
std::string timeText(std::int64_t microseconds) {
  const std::time_t seconds = microseconds / 1'000'000;
  struct tm parts {};
  char text[32];
  ::gmtime_r(&seconds, &parts);
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

void writeAction(JsonWriter& writer, const ActionRecord& record) {
  writer.StartObject();
  writeKey(writer, "action");
  writer.Uint64(record.number);
  writeMember(writer, "who", record.who);
  writeMember(writer, "when", timeText(record.when));
  writeMember(writer, "node", record.node);
  writeMember(writer, "command", record.command);
  writeMember(writer, "result", resultOf(record));
  writeMember(writer, "reason", record.reason);
  writeKey(writer, "milliseconds");
  writer.Int64(record.milliseconds);
  writeMember(writer, "output", record.lines);
  writer.EndObject();
}

}  // namespace

Reply runCommand(const Call& call) {
  Command command;
  if (const std::string wrong = command.read(call.body); !wrong.empty()) return Answer::error(400, wrong);
  const std::string lane = command.node;
  auto action = ActionLog::instance().open(call.who, command.node, command.text);
  return Work{lane, [command = std::move(command), action] { return command.run(action); }};
}

Reply listActions(const Call&) {
  return jsonAnswer([](JsonWriter& writer) {
    writer.StartObject();
    writeKey(writer, "actions");
    writer.StartArray();
    for (const ActionRecord& record : ActionLog::instance().all()) writeAction(writer, record);
    writer.EndArray();
    writer.EndObject();
  });
}

Reply describeAction(const Call& call) {
  std::uint64_t number = 0;
  const char* const end = call.subject.data() + call.subject.size();
  const auto [stop, error] = std::from_chars(call.subject.data(), end, number);
  const auto record = error == std::errc() && stop == end ? ActionLog::instance().find(number) : std::nullopt;
  if (record) return jsonAnswer([&](JsonWriter& writer) { writeAction(writer, *record); });
  return Answer::error(404, "there is no record of an action " + quoted(call.subject) + "; " + actionsPath +
                                " lists those that are kept");
}

}  // namespace zov::hub

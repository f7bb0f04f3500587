#include "hub/api/actions.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <optional>

#include "hub/api/json.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/core/visit.h"

namespace zov::hub {
namespace {

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

Answer answerOf(const TqboxAutomationCapsule& capsule, long status) {
  const auto* const told =
      std::ranges::find_if(outcomes, [&](const auto& entry) { return entry.outcome == capsule.outcome(); });
  Answer answer = jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "message", capsule.message());
    writeKey(writer, "status");
    writer.Int64(status);
    writeMember(writer, "result", told->word);
    writeMember(writer, "reason", capsule.reason());
    writer.EndObject();
  });
  answer.status = told->status;
  return answer;
}

struct Command {
  std::string node;
  std::string text;

  /// "" or a sentence about what is wrong.
  std::string read(std::string_view body);
  /// Gives the command to the callback and waits for it to finish.
  Answer run() const;

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

Answer Command::run() const {
  const auto callback = Registry::instance().commandCallback.load();
  if (callback == nullptr) return Answer::error(503, "the agent does not take commands yet; try again later");

  std::optional<TqboxAutomationCapsule> finished;
  ContextInfo context;
  context.origin = node;
  context.subnodes = {node};
  context.finished = [&](const TqboxAutomationCapsule& capsule) { finished = capsule; };
  const Visit visit;
  Request request({Registry::instance().product(), TqboxActionTable}, std::move(context));
  TqboxAutomationCapsule capsule;
  capsule.owner = &request.box();
  text.copy(capsule.command, TqboxAutomationCapsule::CommandBytes - 1);
  const long result = callback(&capsule);
  if (finished) return answerOf(*finished, finished->rowOrStatus);
  return answerOf(capsule, result);
}

}  // namespace

Reply runCommand(const Call& call) {
  Command command;
  if (const std::string wrong = command.read(call.body); !wrong.empty()) return Answer::error(400, wrong);
  const std::string lane = command.node;
  return Work{lane, [command = std::move(command)] { return command.run(); }};
}

}  // namespace zov::hub

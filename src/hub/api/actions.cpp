#include "hub/api/actions.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include "hub/api/json.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/core/visit.h"

namespace zov::hub {
namespace {

constexpr const char* accepted = "; accepted is {\"node\": text, \"command\": text}";

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

  std::string message;
  long status = 0;
  bool finished = false;
  ContextInfo context;
  context.origin = node;
  context.subnodes = {node};
  context.finished = [&](const TqboxAutomationCapsule& capsule) {
    message = capsule.message();
    status = capsule.rowOrStatus;
    finished = true;
  };
  const Visit visit;
  Request request({Registry::instance().product(), TqboxActionTable}, std::move(context));
  TqboxAutomationCapsule capsule;
  capsule.owner = &request.box();
  text.copy(capsule.command, TqboxAutomationCapsule::CommandBytes - 1);
  const long result = callback(&capsule);
  if (!finished) status = result;
  return jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "message", message);
    writeKey(writer, "status");
    writer.Int64(status);
    writer.EndObject();
  });
}

}  // namespace

Reply runCommand(const Call& call) {
  Command command;
  if (const std::string wrong = command.read(call.body); !wrong.empty()) return Answer::error(400, wrong);
  return Work([command = std::move(command)](const std::atomic<bool>&) { return command.run(); });
}

}  // namespace zov::hub

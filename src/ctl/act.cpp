// `zovctl act`.

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>

#include "ctl/commands.h"
#include "ctl/text.h"

namespace zov::ctl {

const std::vector<std::string> AgentCommands = {
    "StartRequestMonitor", "StopRequestMonitor", "SetRequestSamplingRate",
    "StartGCMonitor",      "StopGCMonitor",      "StartResourceMonitor",
    "StopResourceMonitor", "StartAppSvr",        "StopAppSvr",
    "CycleAppSvr",         "RemSubNode"};

namespace {

/// The words as one line; one with blanks, or an empty one, stands in quotes, which nothing escapes.
std::string lineOf(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    const bool quoted = word.empty() || word.find_first_of(" \t") != std::string::npos;
    if (word.starts_with('\'') || (quoted && word.find('\'') != std::string::npos)) {
      throw Failure(Status::Usage,
                    "The argument " + printable(word) +
                        " holds a single quote; accepted are words without one at their beginning, or "
                        "beside blanks.");
    }
    line += (line.empty() ? "" : " ") + (quoted ? "'" + word + "'" : word);
  }
  return line;
}

std::string bodyOf(const std::string& node, const std::string& line) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.StartObject();
  writer.Key("node");
  writer.String(node.c_str());
  writer.Key("command");
  writer.String(line.c_str());
  writer.EndObject();
  return buffer.GetString();
}

}  // namespace

void act(AgentClient& agent, const std::string& node, const std::vector<std::string>& command) {
  const HttpAnswer answer = agent.postAction(bodyOf(node, lineOf(command)));
  rapidjson::Document told;
  told.Parse(answer.body.c_str());
  const std::string result = printable(memberText(told, "result"));
  if (result.empty()) agent.fail(answer);
  if (answer.status == 404) agent.failForNode(node);
  const std::string outcome = printable(command.front()) + " for " + printable(node) + ": " + result + " (" +
                              printable(memberText(told, "reason")) + ")";
  if (answer.status == 200 || answer.status == 202) {
    std::printf("%s\n", outcome.c_str());
    return;
  }
  std::string known;
  for (const std::string& name : AgentCommands) known += (known.empty() ? "" : ", ") + name;
  throw Failure(Status::Refused, outcome + (result == "bad_command" ? ". Commands are " + known : "") + ".");
}

}  // namespace zov::ctl

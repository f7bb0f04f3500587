#include "hub/http/paths.h"

#include <algorithm>

#include "hub/api/actions.h"
#include "hub/api/events.h"
#include "hub/api/nodes.h"
#include "hub/api/rows.h"
#include "hub/api/tables.h"

namespace zov::hub {
namespace {

constexpr const char* plainText = "text/plain; charset=utf-8";
constexpr std::string_view capitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view rowsUsage =
    "?names=readable&node=NODE&COLUMN=VALUE&order=-COLUMN&limit=N&offset=N&history=1&timeout=SECONDS&PARMA=.."
    ".";

Reply sayOk(const Call&) {
  return Answer{200, "ok\n", plainText};
}

Reply listPaths(const Call& call);

constexpr Path paths[] = {
    {.methods = "GET, HEAD", .pattern = "/", .function = listPaths},
    {.methods = "GET, HEAD", .pattern = "/healthz", .function = sayOk, .access = Access::Open},
    {.methods = "GET, HEAD", .pattern = "/v1/tables", .function = listTables},
    {.methods = "GET, HEAD", .pattern = "/v1/nodes", .function = listNodes},
    {.methods = "GET, HEAD", .pattern = "/v1/nodes/NODE", .function = describeNode},
    {.methods = "GET, HEAD", .pattern = "/v1/tables/TABLE", .function = describeTable},
    {.methods = "GET, HEAD", .pattern = "/v1/tables/TABLE/rows", .function = queryRows, .usage = rowsUsage},
    {.methods = "GET", .pattern = "/v1/events", .function = followEvents, .usage = "?table=TABLE"},
    {.methods = "GET, HEAD, POST",
     .pattern = "/v1/actions",
     .function = listActions,
     .postUsage = "  {\"node\": NODE, \"command\": COMMAND}",
     .access = Access::Acting,
     .posted = runCommand},
    {.methods = "GET, HEAD",
     .pattern = "/v1/actions/NUMBER",
     .function = describeAction,
     .access = Access::Acting},
};

std::string_view firstOf(std::string_view methods) {
  return methods.substr(0, methods.find(','));
}

Reply listPaths(const Call&) {
  constexpr std::size_t width = 5;
  Answer answer{200, "", plainText};
  for (const Path& path : paths) {
    if (path.function == listPaths) continue;
    const auto write = [&](std::string method, std::string_view usage) {
      method.resize(width, ' ');
      answer.body.append(method).append(path.pattern).append(usage) += '\n';
    };
    write(std::string(firstOf(path.methods)), path.usage);
    if (path.posted != nullptr) write("POST", path.postUsage);
  }
  return answer;
}

bool matches(std::string_view pattern, std::string_view path, std::string& subject) {
  const std::size_t word = pattern.find_first_of(capitals);
  if (word == std::string_view::npos) return pattern == path;
  const std::string_view head = pattern.substr(0, word);
  const std::string_view tail = pattern.substr(std::min(pattern.size(), pattern.find('/', word)));
  if (path.size() <= head.size() + tail.size() || !path.starts_with(head) || !path.ends_with(tail))
    return false;
  const std::string_view found = path.substr(head.size(), path.size() - head.size() - tail.size());
  if (found.find('/') != std::string_view::npos) return false;
  subject = found;
  return true;
}

}  // namespace

bool Path::allows(std::string_view method) const {
  for (std::string_view rest = methods; !rest.empty();) {
    const std::string_view first = firstOf(rest);
    if (first == method) return true;
    rest.remove_prefix(std::min(rest.size(), first.size() + 2));
  }
  return false;
}

const Path* findPath(std::string_view path, std::string& subject) {
  for (const Path& entry : paths) {
    if (matches(entry.pattern, path, subject)) return &entry;
  }
  return nullptr;
}

}  // namespace zov::hub

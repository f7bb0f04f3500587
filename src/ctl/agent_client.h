#pragma once
// zov::ctl::AgentClient: what zovctl asks the agent, and what of it has come: JSON that was read, and a
// Failure with a sentence for a person where none came. Belongs to one thread.
//
// A token in ZOV_HUB_TOKEN goes with every request. Actions without one take the token that the agent keeps,
// from the first of its directories where the user may read it; that is sent to this host only.

#include <rapidjson/document.h>

#include <string>
#include <string_view>
#include <vector>

#include "ctl/failure.h"
#include "ctl/http.h"

namespace zov::ctl {

/// A column as the agent describes it.
struct Column {
  std::string name;
  std::string readable;
  std::string unit;  ///< empty: none
  std::string meaning;
  bool isNumber = false;
  int decimals = 0;
};

struct Table {
  std::string name;
  bool hasEvents = false;
  std::vector<Column> columns;
};

class AgentClient {
 public:
  static constexpr const char* DefaultAddress = "127.0.0.1:63390";

  /// HOST:PORT, or a whole URL without a path.
  explicit AgentClient(const std::string& address);

  const std::string& base() const { return _base; }
  Http& http() { return _http; }
  HttpRequest request(const std::string& path) const;
  /// Throws what an answer that is no success means to a person.
  [[noreturn]] void fail(const HttpAnswer& answer) const;
  /// The answer as JSON; fails for any other.
  rapidjson::Document read(const HttpAnswer& answer) const;
  rapidjson::Document get(const std::string& path);
  /// Sends an action's body with a token. Fails when no token is found or none is taken.
  HttpAnswer postAction(const std::string& body);

  std::vector<std::string> nodes();
  std::vector<Table> tables();
  /// Fails with the nearest known name.
  Table table(const std::string& name);
  [[noreturn]] void failForNode(const std::string& name);

 private:
  std::string _base;
  Http _http;
};

/// Where the agent's files may be, first the most likely: what zovctl looks into for its token and
/// configuration.
std::vector<std::string> agentDirectories();
/// The text of a member of an object; empty when it is none.
std::string memberText(const rapidjson::Value& object, const char* name);

}  // namespace zov::ctl

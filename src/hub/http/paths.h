#pragma once
// The paths of the interface: one table, from which requests are routed and the list of paths is made.

#include <string>
#include <string_view>

#include "hub/api/answer.h"

namespace zov::hub {

/// Who may ask for a path: anybody; whoever has the token, when one is set; whoever has a token, and no web
/// page of another origin, since it changes something.
enum class Access { Open, Reading, Acting };

struct Path {
  std::string_view methods;  ///< as in an Allow header
  std::string_view pattern;  ///< a word in capitals stands for any text without a slash, Call::subject
  Reply (*function)(const Call& call);
  std::string_view usage = {};  ///< in the list of paths, behind the pattern
  std::string_view postUsage = {};
  Access access = Access::Reading;
  /// For POST, when that is another one than `function`, or the only one; takes a body in JSON, of at most
  /// Limits::bodyBytes.
  Reply (*posted)(const Call& call) = nullptr;

  bool allows(std::string_view method) const;
  bool takesBody(std::string_view method) const { return posted != nullptr && method == "POST"; }
  Reply answer(const Call& call) const { return (takesBody(call.method) ? posted : function)(call); }
};

/// The entry of a path, or null; `subject` is what stands in the pattern's place.
const Path* findPath(std::string_view path, std::string& subject);

}  // namespace zov::hub

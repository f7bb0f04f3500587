#pragma once
// Which requests may be answered.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hub/core/settings.h"
#include "hub/http/paths.h"

namespace zov::hub {

/// The line and headers of a request.
struct RequestHead {
  std::string_view method;
  std::string_view path;
  const Path* entry;  ///< of the path; null when it is unknown
  /// All values of a header, in the order given.
  std::function<std::vector<std::string>(const char* name)> headers;
};

/// The refusal of a request for its line or headers, or nothing. No lock; any thread.
std::optional<Answer> refusalOf(const RequestHead& head, const Settings& settings, const Limits& limits);

/// The refusal of a body of so many bytes.
Answer bodyTooLong(std::string_view bytes, const Limits& limits);

}  // namespace zov::hub

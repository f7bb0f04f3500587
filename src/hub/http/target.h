#pragma once
// The target of an HTTP request: path and query parameters.

#include <string>
#include <string_view>
#include <vector>

#include "hub/api/answer.h"

namespace zov::hub {

struct Target {
  std::string path;                   ///< decoded
  std::vector<Parameter> parameters;  ///< decoded, in the order given

  /// Reads a target as it stands in the request line. On failure the result is the HTTP status to answer with
  /// (400, or 414 when it is too long), and `error` says what is wrong; otherwise 0.
  /// "+" is a blank in the query. Escapes that are cut short, and zero bytes, are errors.
  unsigned read(std::string_view target, std::string& error);
};

}  // namespace zov::hub

#pragma once
// The target of an HTTP request: path and query parameters.

#include <string>
#include <string_view>
#include <vector>

struct ZOVHubParameter {
  std::string name;
  std::string value;
};

struct ZOVHubTarget {
  std::string path;                         ///< decoded
  std::vector<ZOVHubParameter> parameters;  ///< decoded, in the order given

  /// Reads a target as it stands in the request line. On failure the result is the HTTP status to answer with
  /// (400, or 414 when it is too long), and `error` says what is wrong; otherwise 0.
  /// "+" is a blank in the query. Escapes that are cut short, and zero bytes, are errors.
  unsigned read(std::string_view target, std::string& error);
};

#include "hub/http/target.h"

#include "hub/core/settings.h"

namespace zov::hub {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool decode(std::string_view text, bool plusIsBlank, std::string& result) {
  result.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '+' && plusIsBlank) c = ' ';
    if (c == '%') {
      if (i + 2 >= text.size()) return false;
      const int high = hexDigit(text[i + 1]);
      const int low = hexDigit(text[i + 2]);
      if (high < 0 || low < 0) return false;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    }
    if (c == '\0') return false;
    result += c;
  }
  return true;
}

}  // namespace

unsigned Target::read(std::string_view target, std::string& error) {
  const Limits& most = limits();
  path.clear();
  parameters.clear();
  if (target.size() > most.targetBytes) {
    error = "the path and query have " + std::to_string(target.size()) + " bytes; accepted are at most " +
            std::to_string(most.targetBytes);
    return 414;
  }
  const std::size_t mark = target.find('?');
  if (!decode(target.substr(0, mark), false, path)) {
    error = "the path has a malformed % escape or a zero byte; accepted are %01 to %FF";
    return 400;
  }
  std::string_view rest = mark == std::string_view::npos ? std::string_view() : target.substr(mark + 1);
  while (!rest.empty()) {
    const std::size_t end = rest.find('&');
    const std::string_view piece = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (piece.empty()) continue;
    if (parameters.size() == most.parameters) {
      error = "there are too many query parameters; accepted are at most " + std::to_string(most.parameters);
      return 400;
    }
    const std::size_t equals = piece.find('=');
    Parameter parameter;
    if (!decode(piece.substr(0, equals), true, parameter.name) ||
        (equals != std::string_view::npos && !decode(piece.substr(equals + 1), true, parameter.value))) {
      error = "a query parameter has a malformed % escape or a zero byte; accepted are %01 to %FF";
      return 400;
    }
    if (parameter.value.size() > most.parameterBytes) {
      error = "the query parameter " + parameter.name.substr(0, 64) + " has " +
              std::to_string(parameter.value.size()) + " bytes; accepted are at most " +
              std::to_string(most.parameterBytes);
      return 414;
    }
    parameters.push_back(std::move(parameter));
  }
  return 0;
}

}  // namespace zov::hub

#include "hub/http/admission.h"

#include <strings.h>

#include <charconv>

namespace zov::hub {
namespace {

/// Takes as long for every text of the expected length.
bool sameSecret(std::string_view given, std::string_view expected) {
  unsigned char difference = given.size() != expected.size();
  for (std::size_t i = 0; i < given.size(); ++i) {
    difference = static_cast<unsigned char>(difference | (given[i] ^ expected[i % expected.size()]));
  }
  return difference == 0;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool carriesToken(std::string_view authorization, std::string_view token) {
  constexpr std::string_view scheme = "Bearer ";
  return equalsIgnoringCase(authorization.substr(0, scheme.size()), scheme) &&
         sameSecret(trimmed(authorization.substr(scheme.size())), token);
}

std::optional<Answer> refusalOfBody(const RequestHead& head, const Limits& limits) {
  const std::string type = head.header("Content-Type");
  if (!equalsIgnoringCase(trimmed(std::string_view(type).substr(0, type.find(';'))), "application/json")) {
    return Answer::error(415, "the Content-Type is " + quoted(type) + "; accepted is application/json");
  }
  const std::string length = head.header("Content-Length");
  std::uint64_t bytes = 0;
  std::from_chars(length.data(), length.data() + length.size(), bytes);
  if (bytes > limits.bodyBytes) return bodyTooLong(length, limits);
  return std::nullopt;
}

}  // namespace

std::optional<Answer> refusalOf(const RequestHead& head, const Settings& settings, const Limits& limits) {
  const std::string host = head.header("Host");
  if (!settings.acceptsHost(host)) {
    return Answer::error(
        403, "the Host header is " + quoted(host) + "; accepted are " + settings.address + " and localhost");
  }
  const bool needsToken = !settings.token.empty() && (head.entry == nullptr || head.entry->needsToken);
  if (needsToken && !carriesToken(head.header("Authorization"), settings.token)) {
    return Answer::error(401,
                         "the Authorization header is missing or wrong; accepted is Bearer TOKEN with "
                         "the value of ZOV_HUB_TOKEN");
  }
  const std::string path(head.path.substr(0, 80));
  if (head.entry == nullptr) {
    return Answer::error(404, "there is no path " + path + "; GET / lists the paths");
  }
  if (!head.entry->allows(head.method)) {
    return Answer::error(405, "the method is " + std::string(head.method.substr(0, 20)) + "; accepted for " +
                                  path + " is " + std::string(head.entry->methods));
  }
  return head.entry->takesBody ? refusalOfBody(head, limits) : std::nullopt;
}

Answer bodyTooLong(std::string_view bytes, const Limits& limits) {
  return Answer::error(413, "the body has " + std::string(bytes) + " bytes; accepted are at most " +
                                std::to_string(limits.bodyBytes));
}

}  // namespace zov::hub

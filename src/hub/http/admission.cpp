#include "hub/http/admission.h"

#include <algorithm>
#include <charconv>
#include <functional>

#include "hub/core/kept_token.h"

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

bool carriesToken(std::string_view authorization, std::string_view token) {
  constexpr std::string_view scheme = "Bearer ";
  return equalsIgnoringCase(authorization.substr(0, scheme.size()), scheme) &&
         sameSecret(trimmed(authorization.substr(scheme.size())), token);
}

std::string firstHeader(const RequestHead& head, const char* name) {
  const auto values = head.headers(name);
  return values.empty() ? "" : values.front();
}

/// Of what two readers of the request could take for two requests, or for two hosts.
std::optional<Answer> refusalOfAmbiguity(const RequestHead& head) {
  if (const auto hosts = head.headers("Host"); hosts.size() > 1) {
    return Answer::error(400, std::to_string(hosts.size()) + " Host headers are given; accepted is one");
  }
  const auto lengths = head.headers("Content-Length");
  if (std::ranges::adjacent_find(lengths, std::not_equal_to()) != lengths.end()) {
    return Answer::error(400, "the Content-Length headers differ; accepted is one");
  }
  if (!lengths.empty() && !head.headers("Transfer-Encoding").empty()) {
    return Answer::error(400,
                         "the headers Content-Length and Transfer-Encoding are both given; accepted is one");
  }
  return std::nullopt;
}

std::optional<Answer> refusalOfBody(const RequestHead& head, const Limits& limits) {
  const std::string type = firstHeader(head, "Content-Type");
  if (!equalsIgnoringCase(trimmed(std::string_view(type).substr(0, type.find(';'))), "application/json")) {
    return Answer::error(415, "the Content-Type is " + quoted(type) + "; accepted is application/json");
  }
  const std::string length = firstHeader(head, "Content-Length");
  std::uint64_t bytes = 0;
  std::from_chars(length.data(), length.data() + length.size(), bytes);
  if (bytes > limits.bodyBytes) return bodyTooLong(length, limits);
  return std::nullopt;
}

/// A browser tells the origin of the page that makes a request: it must be this hub, by the name that it was
/// asked by.
bool isOwnOrigin(std::string_view origin, std::string_view host) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (equalsIgnoringCase(origin.substr(0, scheme.size()), scheme)) {
      return equalsIgnoringCase(origin.substr(scheme.size()), host);
    }
  }
  return false;
}

std::optional<Answer> refusalOfAction(const RequestHead& head, const Settings& settings, bool hasToken) {
  for (const std::string& origin : head.headers("Origin")) {
    if (isOwnOrigin(origin, firstHeader(head, "Host"))) continue;
    return Answer::error(403, "the Origin header is " + quoted(origin) +
                                  "; accepted for an action is none, or the hub's own address");
  }
  if (hasToken) return std::nullopt;
  return Answer::error(
      401,
      "the Authorization header is missing or wrong; accepted for an action is Bearer TOKEN "
      "with " +
          (settings.kept.problem.empty()
               ? "the text of " + std::string(keptTokenFile) + " in the agent's directory"
               : "the value of ZOV_HUB_TOKEN, which is to be set, as no token could be kept"));
}

}  // namespace

std::optional<Answer> refusalOf(const RequestHead& head, const Settings& settings, const Limits& limits) {
  if (auto refusal = refusalOfAmbiguity(head)) return refusal;
  const std::string& token = settings.actionToken();
  const bool hasToken = !token.empty() && carriesToken(firstHeader(head, "Authorization"), token);
  // Who has the token is no web page that has been led here under another name.
  if (const std::string host = firstHeader(head, "Host"); !hasToken && !settings.acceptsHost(host)) {
    return Answer::error(403, "the Host header is " + quoted(host) + "; accepted are " + settings.address +
                                  " and localhost, or any with the token");
  }
  const bool open = head.entry != nullptr && head.entry->access == Access::Open;
  if (!settings.token.empty() && !hasToken && !open) {
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
  if (head.entry->access == Access::Acting) {
    if (auto refusal = refusalOfAction(head, settings, hasToken)) return refusal;
  }
  return head.entry->takesBody(head.method) ? refusalOfBody(head, limits) : std::nullopt;
}

Answer bodyTooLong(std::string_view bytes, const Limits& limits) {
  return Answer::error(413, "the body has " + std::string(bytes) + " bytes; accepted are at most " +
                                std::to_string(limits.bodyBytes));
}

}  // namespace zov::hub

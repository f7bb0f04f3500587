#include "hub/core/settings.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>

#include <algorithm>
#include <charconv>

#include "hub/core/kept_token.h"
#include "platform/services.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHSETT");

namespace zov::hub {
namespace {

constexpr std::size_t MostSeries = 10'000'000;
constexpr const char* accepted =
    "accepted is ADDRESS:PORT with a numeric IPv4 address, [IPV6]:PORT, localhost:PORT, or off";

bool readPort(const std::string& text, std::uint16_t& port) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

/// Splits "host:port" or "[host]:port"; the port may be absent. False when brackets do not match.
bool split(const std::string& text, std::string& host, std::string& port) {
  port.clear();
  const std::size_t colon = text.rfind(':');
  if (text.starts_with('[')) {
    const std::size_t close = text.find(']');
    if (close == std::string::npos) return false;
    host = text.substr(1, close - 1);
    if (close + 1 == text.size()) return true;
    if (text[close + 1] != ':') return false;
    port = text.substr(close + 2);
    return !port.empty();
  }
  if (colon != text.find(':')) return false;
  host = text.substr(0, colon);
  if (colon == std::string::npos) return true;
  port = text.substr(colon + 1);
  return !port.empty();
}

bool sameHost(const std::string& a, const char* b) {
  return strcasecmp(a.c_str(), b) == 0;
}

bool isNumericAddress(const std::string& host) {
  unsigned char bytes[sizeof(in6_addr)];
  return inet_pton(AF_INET, host.c_str(), bytes) == 1 || inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

}  // namespace

Limits& limits() {
  static Limits inForce;
  return inForce;
}

MetricsChoice& metricsChoice() {
  static MetricsChoice inForce;
  return inForce;
}

MetricsChoice MetricsChoice::read() {
  MetricsChoice choice;
  if (const char* const words = OSL1_GetEnv("ZOV_METRICS_TABLES", nullptr)) {
    choice.tables.emplace();
    std::string_view rest = words;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find_first_of(", "), rest.size());
      if (end != 0) choice.tables->emplace_back(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  const std::string_view number = OSL1_GetEnv("ZOV_METRICS_MAX_SERIES", "");
  if (number.empty()) return choice;
  std::size_t most = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), most);
  if (error == std::errc() && end == number.data() + number.size() && most <= MostSeries) {
    choice.mostSeries = most;
  } else {
    DGT1_Printf(traceUnit, DGT1_MESSAGE,
                "ZOV_METRICS_MAX_SERIES is \"%s\"; accepted is a number from 0 to %u. Used: %u.",
                std::string(number).c_str(), MostSeries, choice.mostSeries);
  }
  return choice;
}

Limits Limits::within(std::size_t descriptors) const {
  Limits less = *this;
  const std::size_t most = std::max<std::size_t>(descriptors / 2, 10);
  if (connections() <= most) return less;
  less.streams = std::min(streams, most * 6 / 10);
  less.queries = std::min(queries, most * 2 / 10);
  less.commands = std::min(commands, most / 10);
  less.shortExchanges = std::min(shortExchanges, most / 10);
  return less;
}

Settings Settings::read(const std::string& addressAndPort, const std::string& token) {
  Settings settings;
  settings.token = token;
  if (sameHost(addressAndPort, "off")) return settings;

  std::string port;
  if (!split(addressAndPort, settings.address, port) || !readPort(port, settings.port)) {
    settings.problem = "ZOV_HUB_ADDRESS is \"" + addressAndPort + "\"; " + accepted + ". No HTTP is served.";
    return settings;
  }
  if (sameHost(settings.address, "localhost")) settings.address = "127.0.0.1";

  in_addr v4{};
  in6_addr v6{};
  if (inet_pton(AF_INET, settings.address.c_str(), &v4) == 1) {
    settings.loopback = (ntohl(v4.s_addr) >> 24) == 127;
    settings.wildcard = v4.s_addr == htonl(INADDR_ANY);
  } else if (inet_pton(AF_INET6, settings.address.c_str(), &v6) == 1) {
    settings.ipv6 = true;
    settings.loopback = IN6_IS_ADDR_LOOPBACK(&v6);
    settings.wildcard = IN6_IS_ADDR_UNSPECIFIED(&v6);
  } else {
    settings.problem =
        "ZOV_HUB_ADDRESS names the host \"" + settings.address + "\"; " + accepted + ". No HTTP is served.";
    return settings;
  }
  if (!settings.loopback && token.empty()) {
    settings.problem =
        "ZOV_HUB_ADDRESS is " + addressAndPort +
        ", which other hosts can reach; that needs a token in ZOV_HUB_TOKEN, which is not set. "
        "No HTTP is served.";
    return settings;
  }
  settings.serve = true;
  return settings;
}

Settings Settings::fromEnvironment(const std::string& directory) {
  Settings settings =
      read(OSL1_GetEnv("ZOV_HUB_ADDRESS", "127.0.0.1:63390"), OSL1_GetEnv("ZOV_HUB_TOKEN", ""));
  if (settings.serve && settings.token.empty()) settings.kept = keepToken(directory);
  return settings;
}

bool Settings::acceptsHost(const std::string& hostHeader) const {
  std::string host;
  std::string givenPort;
  std::uint16_t number = 0;
  if (!split(hostHeader, host, givenPort) || (!givenPort.empty() && !readPort(givenPort, number)))
    return false;
  return sameHost(host, "localhost") || sameHost(host, address.c_str()) ||
         (wildcard && isNumericAddress(host));
}

std::string Settings::url(std::uint16_t boundPort) const {
  return "http://" + (ipv6 ? "[" + address + "]" : address) + ":" + std::to_string(boundPort);
}

}  // namespace zov::hub

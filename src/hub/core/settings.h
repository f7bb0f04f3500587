#pragma once
// What the hub is told from outside, and the numbers that bound it.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zov::hub {

inline constexpr std::size_t KiB = 1024;

/// Bounds of the hub. Read when arkmain starts; tests change them before that.
struct Limits {
  std::size_t queryThreads = 64;           ///< queries inside the agent at once
  std::size_t queriesWaiting = 128;        ///< queries that wait for one of those; beyond them 503
  std::size_t commandsWaiting = 64;        ///< commands run one at a time
  std::size_t streams = 1024;              ///< event streams open at once; beyond them 503
  std::size_t eventsKept = 1000;           ///< for streams that are behind, or are opened again
  std::size_t rowBytes = 256 * KiB * KiB;  ///< rows of one query
  std::size_t bodyBytes = 64 * KiB;        ///< body of a POST
  std::size_t targetBytes = 8 * KiB;       ///< path and query of a request, as sent
  std::size_t parameters = 64;             ///< query parameters of a request
  std::size_t parameterBytes = 4 * KiB;    ///< value of a query parameter
  unsigned idleSeconds = 30;               ///< a connection on which nothing moves is closed
  int keepAliveMilliseconds = 15000;       ///< comment lines in quiet event streams
  int bindRetryMilliseconds = 10000;       ///< between attempts to get the port
  int stopMilliseconds = 1500;             ///< arkmain's wait for requests inside the agent
};

/// The limits in force, for the whole process.
Limits& limits();

/// The token that the hub makes for itself. Without one `problem` says why.
struct KeptToken {
  std::string token;
  std::string problem;
};

/// ZOV_HUB_ADDRESS and ZOV_HUB_TOKEN, read and checked, and the kept token where that is needed.
struct Settings {
  bool serve = false;   ///< false: no HTTP; `problem` says why unless that was asked for
  std::string problem;  ///< a sentence for the person who started the agent
  std::string address;  ///< numeric, as given, without brackets
  std::uint16_t port = 0;
  bool ipv6 = false;
  bool loopback = false;
  bool wildcard = false;  ///< bound to all addresses of the host
  std::string token;  ///< of ZOV_HUB_TOKEN, for all that is asked but the hub's health; empty: there is none
  KeptToken kept;     ///< for actions, when there is no other

  /// "ADDRESS:PORT" with a numeric IPv4 address, an IPv6 address in brackets, or "localhost"; or "off".
  static Settings read(const std::string& addressAndPort, const std::string& token);
  /// The same from the environment. Makes the kept token in `directory` when it serves without another.
  static Settings fromEnvironment(const std::string& directory);

  /// The token that is right for actions; empty when there is none.
  const std::string& actionToken() const { return token.empty() ? kept.token : token; }

  /// True when a Host header (with or without a port) names this address, or localhost. On a wildcard
  /// address every numeric address does.
  bool acceptsHost(const std::string& host) const;
  /// "http://ADDRESS:PORT"
  std::string url(std::uint16_t boundPort) const;
};

}  // namespace zov::hub

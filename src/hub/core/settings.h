#pragma once
// What the hub is told from outside, and the numbers that bound it.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zov::hub {

inline constexpr std::size_t KiB = 1024;

/// Bounds of the hub. Read when arkmain starts; tests change them before that.
struct Limits {
  std::size_t queries = 192;            ///< answers of rows under way, to the end of sending; beyond them 503
  std::size_t queryThreads = 64;        ///< threads that ask tables for rows
  std::size_t queryThreadsPerNode = 4;  ///< of those, for one subnode
  std::size_t queriesWaitingPerNode = 32;     ///< that wait for one of those; beyond them the subnode is busy
  std::size_t statusThreads = 4;              ///< threads for tables that never wait for a server
  std::size_t commandThreads = 32;            ///< commands run one at a time for a subnode
  std::size_t commandsWaitingPerNode = 64;    ///< beyond them 503
  std::size_t commands = 256;                 ///< that run or wait, of all subnodes; beyond them 503
  int querySeconds = 30;                      ///< a query's time without `timeout`
  int mostQuerySeconds = 300;                 ///< with it
  std::size_t streams = 1024;                 ///< event streams open at once; beyond them 503
  std::size_t eventsKept = 1000;              ///< for streams that are behind, or are opened again
  std::size_t answerBytes = 256 * KiB * KiB;  ///< unsent rows of all answers together
  std::size_t bodyShareBytes = 64 * KiB * KiB;  ///< of those, of one answer
  std::size_t blockBytes = 32 * KiB;            ///< rows are sent in blocks of about this
  std::size_t pageBytes = 128 * KiB * KiB;      ///< rows that wait for their order, of all queries together
  int writerMilliseconds = 5000;                ///< that a table's request waits for room, all in all
  std::size_t readerBytes = KiB * KiB;          ///< that a reader takes in readerSeconds at least
  int readerSeconds = 30;
  std::size_t heldRowBytes = 64 * KiB * KiB;  ///< rows that a request holds, such as those of an event
  std::size_t bodyBytes = 64 * KiB;           ///< body of a POST
  std::size_t targetBytes = 8 * KiB;          ///< path and query of a request, as sent
  std::size_t parameters = 64;                ///< query parameters of a request
  std::size_t parameterBytes = 4 * KiB;       ///< value of a query parameter
  unsigned idleSeconds = 30;                  ///< a connection on which nothing moves is closed
  int requestSeconds = 10;  ///< for a whole request, from the connection's opening or the last answer
  std::size_t shortExchanges = 256;   ///< connections beside those of streams, queries and commands
  int keepAliveMilliseconds = 15000;  ///< comment lines in quiet event streams
  int bindRetryMilliseconds = 10000;  ///< between attempts to get the port
  int stopMilliseconds = 1500;        ///< arkmain's wait for requests inside the agent

  /// Connections at once.
  std::size_t connections() const { return streams + queries + commands + shortExchanges; }
  /// These limits, or less where a process that may have so many descriptors cannot serve as much: half of
  /// them are the agent's.
  Limits within(std::size_t descriptors) const;

  /// Of answerBytes: a block of each answer, and one that it may exceed that by.
  std::size_t reservedBytes() const { return 2 * queries * blockBytes; }
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

#pragma once
// What `zovctl top` shows of the agent at one moment, and how it is read: all tables at once, none waited for
// before the screen is drawn again. Belongs to one thread.

#include <memory>
#include <string>
#include <vector>

#include "ctl/agent_client.h"
#include "ctl/rows.h"

namespace zov::ctl {

/// A server. Texts are printable; what is not known is "-".
struct TopServer {
  std::string node, name, status;
  std::string pid, version, cpu, heap, threads, collecting, errors;
};

/// One kind of request in its server's last interval.
struct TopRequest {
  std::string node, server, application, name;  // printable
  double count, rate, mean, longest, time;      // Unknown: not known
  Row row;                                      // all columns
  static constexpr double Unknown = -1;
};

struct TopData {
  std::vector<TopServer> servers;  // by name
  std::vector<TopRequest> requests;
  std::string error;  ///< why the last reading failed; the rest is then that of the reading before it
};

/// One reading under way, or none.
class TopReading {
 public:
  explicit TopReading(AgentClient& agent) : _agent(agent) {}
  void begin();
  bool isUnderWay() const { return _underWay; }
  /// Of the last reading that has ended.
  const TopData& data() const { return _data; }

 private:
  enum Source { Servers, Requests, ThreadPools, Collections, Applications, Sources };

  void ask(Source source);
  void take(Source source, const HttpAnswer& answer);
  void askForStatistics();
  void end();
  TopServer server(const Row& row) const;

  AgentClient& _agent;
  bool _underWay = false;
  int _waitingFor = 0;
  bool _statisticsAsked = false;
  std::string _error;
  RowsAnswer _answers[Sources];
  TopData _data;
};

/// A number in few columns: 12345678 is "12345k", an unknown one "-".
std::string brief(double number, int decimals = 0);

}  // namespace zov::ctl

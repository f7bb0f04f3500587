#pragma once
// Peers: one non-blocking connection each, to the agent's port for collectors. A loop (loop.h) owns them and
// calls them, all on its one thread. A subclass is a way to behave; it lives for a span that is drawn when it
// is made, and then leaves in the way that is drawn too.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "gauges.h"
#include "support/fake_collector.h"

namespace zov::storm {

/// What the peers of one loop share.
struct Field {
  std::uint16_t port;   ///< of the agent
  Moment now;           ///< when the present turn began
  long floodBytes = 0;  ///< that all floods together may still send in this turn
  Weather& weather;
};

class Peer {
 public:
  enum class Leaving { Close, Reset, HalfClose };

  Peer(Field& field, Clock::duration life, Leaving leaving);
  virtual ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  int descriptor() const { return _socket; }
  /// To be destroyed.
  bool over() const { return _over; }
  /// The events of epoll that it waits for.
  std::uint32_t interest() const;
  void ready(std::uint32_t events);
  /// Ten times a second.
  void turn();
  /// A peer that this one brings with it; asked after each turn.
  virtual std::unique_ptr<Peer> companion() { return nullptr; }

 protected:
  virtual void connected() {}
  virtual void received(const WireMessage&) {}
  /// At each turn, also while it waits to be connected.
  virtual void tick() {}
  /// Closed by the agent, reset, or never connected.
  virtual void cutOff() {}

  void send(const WireFrame& frame) { sendBytes(frame.framed()); }
  void sendBytes(std::string_view bytes);
  /// Bytes that the agent's side has not taken yet.
  std::size_t backlog() const { return _out.size() - _sent; }
  void stopReading() { _reading = false; }
  /// By the way that was drawn; a peer that half closes reads on for some seconds.
  void leave();
  Field& field() { return _field; }

 private:
  void flush();
  void read();
  void takeFrames();
  void end();

  Field& _field;
  const Leaving _leaving;
  Moment _lifeEnds;
  int _socket;
  bool _connected = false;
  bool _reading = true;
  bool _halfClosed = false;
  bool _over = false;
  std::string _in;
  std::string _out;
  std::size_t _sent = 0;  // of _out
};

/// A peer that says who it is and then does what it is asked.
class Collector : public Peer {
 public:
  struct Identity {
    std::string name;
    int processId;
  };
  Collector(Field& field, Clock::duration life, Leaving leaving, Identity identity);
  ~Collector() override;

 protected:
  void connected() override;
  void received(const WireMessage& message) final;

  /// The agent's answer to its ping.
  virtual void greeted(bool accepted);
  virtual void polled() { answerPoll(); }
  virtual void pinged(const WireMessage& ping) { accept(ping); }
  /// To start or stop a collection, or to start a statistics JVM: one half refuses that, the other accepts
  /// and no JVM ever calls back.
  virtual void asked(const WireMessage& request);

  WireFrame hello() const;
  void accept(const WireMessage& request) { send(wireResponse(request.correlator(), true)); }
  /// Some samples, and their end.
  void answerPoll();
  const Identity& identity() const { return _identity; }

 private:
  const Identity _identity;
  bool _answered = false;
};

/// One request of many: `number` tells them apart.
WireFrame requestSample(int number, std::string_view application, std::string_view request);
WireFrame endOfSamples();

}  // namespace zov::storm

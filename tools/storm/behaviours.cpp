#include "behaviours.h"

#include <fmt/format.h>

#include <algorithm>

namespace zov::storm {

namespace {

using std::chrono::seconds;

Peer::Leaving drawLeaving(Random& random) {
  return static_cast<Peer::Leaving>(draw(random, 0, 2));
}

std::string randomBytes(Random& random, int count) {
  std::string bytes;
  while (count-- > 0) bytes.push_back(static_cast<char>(random()));
  return bytes;
}

/// Behaves, and leaves without a word.
class Mortal : public Collector {
 public:
  Mortal(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 0, 90)), drawLeaving(random), std::move(itsIdentity)) {}
};

/// Opens a connection and says nothing.
class Silent : public Peer {
 public:
  Silent(Field& itsField, Random& random, const Collector::Identity&)
      : Peer(itsField, seconds(draw(random, 5, 40)), drawLeaving(random)) {}
};

/// Answers everything but polls.
class Quiet : public Collector {
 public:
  Quiet(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 10, 90)), drawLeaving(random), std::move(itsIdentity)) {}

 protected:
  void polled() override {}
};

/// Stops in the middle of one frame, or goes on with a byte a second.
class HalfFramed : public Collector {
 public:
  HalfFramed(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 5, 60)), drawLeaving(random), std::move(itsIdentity)),
        _where(static_cast<Where>(draw(random, 0, 2))),
        _drips(draw(random, 0, 1) == 1),
        _part(draw(random, 1, 99)) {}

 protected:
  void connected() override {
    if (_where != Where::Hello) return Collector::connected();
    halt(hello());
  }
  void asked(const WireMessage& request) override {
    if (_where != Where::Answer) return Collector::asked(request);
    halt(wireResponse(request.correlator(), true));
  }
  void polled() override {
    if (_halted) return;
    if (_where != Where::Sample) return answerPoll();
    send(requestSample(1, "shop", "/first"));
    halt(requestSample(2, "shop", "/second"));
  }
  void tick() override {
    if (!_drips || _rest.empty() || field().now < _nextDrop) return;
    sendBytes(_rest.substr(0, 1));
    _rest.erase(0, 1);
    _nextDrop = field().now + seconds(1);
  }

 private:
  enum class Where { Hello, Answer, Sample };

  void halt(const WireFrame& frame) {
    if (std::exchange(_halted, true)) return;
    const std::string bytes = frame.framed();
    const std::size_t cut = std::max<std::size_t>(1, bytes.size() * static_cast<std::size_t>(_part) / 100);
    _rest = bytes.substr(cut);
    sendBytes(std::string_view(bytes).substr(0, cut));
  }

  const Where _where;
  const bool _drips;
  const int _part;  // percent of the frame that is sent at once
  bool _halted = false;
  std::string _rest;
  Moment _nextDrop{};
};

/// Sends what is no frame, or a frame that is no message, at the beginning or in answer to a poll.
class Garbler : public Collector {
 public:
  Garbler(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 1, 20)), drawLeaving(random), std::move(itsIdentity)),
        _atOnce(draw(random, 0, 1) == 0),
        _garbage(drawGarbage(random)) {}

 protected:
  void connected() override {
    if (_atOnce) return sendBytes(_garbage);
    Collector::connected();
  }
  void polled() override { sendBytes(_garbage); }

 private:
  std::string drawGarbage(Random& random) const {
    const WireFrame sample = requestSample(1, "shop", "/cart");
    switch (draw(random, 0, 10)) {
      case 0:
        return randomBytes(random, draw(random, 1, 4096));
      case 1:  // a length that is negative as an int
        return WireFrame(1, 1).framed(0xFFFFFFFF) + randomBytes(random, 1000);
      case 2:  // a long frame that begins and does not end
        return WireFrame(1, 1).framed(0x7FFFFFFF) + randomBytes(random, 100'000);
      case 3:  // shorter than its header
        return WireFrame(2, 31).framed(draw(random, 0, 7));
      case 4:
        return WireFrame(draw(random, 0, 4), draw(random, 0, 100)).framed();
      case 5: {  // cut in a field
        const std::string& body = sample.body();
        return wireSample(31).raw(body.substr(8, random() % body.size())).framed();
      }
      case 6:  // a text that counts more bytes than there are
        return wireSample(31).put(2, 4).put(701, 4).put(0x7FFFFFFF, 4).framed();
      case 7:
        return wirePing(1, identity().name, "/srv/old", identity().processId, 1).framed();
      case 8:
        return wirePing(1, "", "").framed();
      case 9:  // longer than a name should be
        return wirePing(1, std::string(200'000, 'n'), "/srv").framed();
      default:
        return sample.framed();
    }
  }

  const bool _atOnce;
  const std::string _garbage;
};

/// Answers a poll with more than is good, or pings behind it without an end and never reads again.
class Flooder : public Collector {
 public:
  Flooder(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 10, 60)), drawLeaving(random), std::move(itsIdentity)),
        _kind(static_cast<Kind>(draw(random, 0, 4))) {}

 protected:
  void polled() override {
    _flooding = true;
    _next = 0;
    if (_kind == Kind::Pings) stopReading();
  }
  void tick() override {
    std::size_t burst = 0;
    while (_flooding && burst < BurstBytes && backlog() < BurstBytes && field().floodBytes > 0) {
      const std::string frame = nextFrame();
      burst += frame.size();
      field().floodBytes -= static_cast<long>(frame.size());
      field().weather.floodedBytes += static_cast<long>(frame.size());
      sendBytes(frame);
    }
  }

 private:
  enum class Kind { Pings, Samples, EmptySamples, LongTexts, Abbreviations };
  static constexpr std::size_t BurstBytes = 65536;
  static constexpr int Definitions = 64;

  std::string nextFrame() {
    const int number = _next++;
    if (number == total()) {
      _flooding = false;
      return endOfSamples().framed();
    }
    switch (_kind) {
      case Kind::Pings:
        return wireRequest(1, number).framed();
      case Kind::Samples:
        return requestSample(number, "shop", fmt::format("/request/{}", number)).framed();
      case Kind::EmptySamples:
        return wireSample(31).framed();
      case Kind::LongTexts:
        return requestSample(number, "shop", fmt::format("/{}/{}", number, std::string(30'000, 'x')))
            .framed();
      case Kind::Abbreviations:
        break;
    }
    if (number < Definitions) {
      const std::string text = fmt::format("{}{}", number, std::string(16'000, 'y'));
      return wireSample(59).number(4, 1).text(1020, text).text(1021, fmt::format("#{}", number)).framed();
    }
    return requestSample(number, fmt::format("#{}", number % Definitions),
                         fmt::format("#{}", number / Definitions % Definitions))
        .framed();
  }
  int total() const {
    switch (_kind) {
      case Kind::Pings:
        return -1;
      case Kind::Samples:
        return 3000;
      case Kind::EmptySamples:
        return 50'000;
      case Kind::LongTexts:
        return 100;
      case Kind::Abbreviations:
        break;
    }
    return Definitions + 500;
  }

  const Kind _kind;
  bool _flooding = false;
  int _next = 0;
};

/// A server that starts again, as a new process, while the session of the old one may still live.
class Restarted : public Collector {
 public:
  Restarted(Field& itsField, Random& random, Identity itsIdentity)
      : Collector(itsField, seconds(draw(random, 10, 60)), drawLeaving(random), std::move(itsIdentity)),
        _end(static_cast<End>(draw(random, 0, 2))),
        _restart(itsField.now + seconds(draw(random, 1, 8))),
        _random(random()) {}

  std::unique_ptr<Peer> companion() override {
    if (_restarted || field().now < _restart) return nullptr;
    _restarted = true;
    if (_end == End::Goes) leave();
    return std::make_unique<Mortal>(field(), _random, Identity{identity().name, identity().processId + 1});
  }

 protected:
  void polled() override {
    if (!hangs()) answerPoll();
  }
  void pinged(const WireMessage& ping) override {
    if (!hangs()) Collector::pinged(ping);
  }

 private:
  /// Of the old process, once there is a new one.
  enum class End { Goes, Hangs, LivesOn };
  bool hangs() const { return _restarted && _end == End::Hangs; }

  const End _end;
  const Moment _restart;
  Random _random;
  bool _restarted = false;
};

/// Connects and is gone.
class Glimpse : public Peer {
 public:
  Glimpse(Field& itsField, Random& random, const Collector::Identity&)
      : Peer(itsField, std::chrono::milliseconds(draw(random, 0, 300)), drawLeaving(random)) {}
};

template <class Kind>
std::unique_ptr<Peer> make(Field& field, Random& random, Collector::Identity identity) {
  return std::make_unique<Kind>(field, random, std::move(identity));
}

}  // namespace

const std::array<Behaviour, 8> Behaviours{{
    {"mortal", "behaves, and is killed after a while", 50, false, make<Mortal>},
    {"half", "stops within a frame, or sends a byte a second", 12, false, make<HalfFramed>},
    {"flood", "pings unread, thousands of samples, long texts, abbreviations", 12, true, make<Flooder>},
    {"garbage", "random bytes, wrong lengths, types and fields", 10, false, make<Garbler>},
    {"restart", "a new process while the old session lives", 8, false, make<Restarted>},
    {"quiet", "never answers a poll", 6, false, make<Quiet>},
    {"silent", "connects and says nothing", 6, false, make<Silent>},
    {"glimpse", "connects and is gone", 8, false, make<Glimpse>},
}};

}  // namespace zov::storm

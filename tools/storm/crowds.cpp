#include "crowds.h"

#include <fmt/format.h>

#include <algorithm>

namespace zov::storm {

namespace {

constexpr int SlotCount = 220;
constexpr int SlotNames = 270;  // with the regulars' 20 and the newcomers' 10: 300
constexpr int NewcomerNames = 10;
constexpr int FloodingSlots = 6;  // one of so many
constexpr auto Gathering = std::chrono::milliseconds(10'000);
constexpr auto NewcomerPause = std::chrono::seconds(3);
constexpr auto NewcomerPatience = std::chrono::seconds(60);
constexpr auto Forever = std::chrono::hours(24);

}  // namespace

// --- Regulars.

class Regulars::RegularCollector : public Collector {
 public:
  RegularCollector(Field& itsField, Service& service, Regular& regular)
      : Collector(itsField, Forever, Leaving::Close, {regular.name, regular.processId}),
        _service(service),
        _regular(regular) {}

 protected:
  void greeted(bool accepted) override {
    if (!accepted) cutOff(), leave();
  }
  void polled() override {
    if (_regular.lastPoll == Moment{}) ++_service.regularsPolled;
    measure(_service, _regular, field().now);
    _regular.lastPoll = field().now;
    ++_service.polls;
    answerPoll();
  }
  void cutOff() override { ++_service.lostSessions; }

 private:
  Service& _service;
  Regular& _regular;
};

class Regulars::Newcomer : public Collector {
 public:
  Newcomer(Field& itsField, Service& service, int number)
      : Collector(itsField, NewcomerPatience, Leaving::Close,
                  {fmt::format("new{}", number % NewcomerNames), 20'000 + number}),
        _service(service),
        _came(itsField.now) {}
  ~Newcomer() override { ++(_served ? _service.servedNewcomers : _service.failedNewcomers); }

 protected:
  void polled() override {
    _served = true;
    answerPoll();
    leave();
  }
  void tick() override { _service.firstPoll.raise(seconds(field().now - _came)); }

 private:
  Service& _service;
  const Moment _came;
  bool _served = false;
};

Regulars::Regulars(Service& service) : _service(service) {
  for (int i = 0; i < RegularCount; ++i) {
    _regulars.push_back({fmt::format("{}{:02}", RegularPrefix, i), 10'000 + i});
  }
}

void Regulars::gather(Loop& loop) {
  const Moment now = loop.field().now;
  for (Regular& regular : _regulars) {
    measure(_service, regular, now);
    if (regular.peer || now < regular.comesAt) continue;
    regular.peer = &loop.add(std::make_unique<RegularCollector>(loop.field(), _service, regular));
  }
  const bool allPolled = _service.regularsPolled == RegularCount;
  if (allPolled && !_newcomer && now >= _newcomerComesAt) {
    _newcomer = &loop.add(std::make_unique<Newcomer>(loop.field(), _service, _newcomers++));
  }
}

void Regulars::gone(const Peer& peer) {
  if (&peer == _newcomer) {
    _newcomer = nullptr;
    _newcomerComesAt = Clock::now() + NewcomerPause;
    return;
  }
  const auto regular = std::ranges::find(_regulars, &peer, &Regular::peer);
  if (regular == _regulars.end()) return;
  regular->peer = nullptr;
  regular->comesAt = Clock::now() + std::chrono::seconds(1);
  ++regular->processId;
}

void Regulars::measure(Service& service, const Regular& regular, Moment now) {
  if (regular.lastPoll == Moment{}) return;
  service.pollLateness.raise(seconds(now - regular.lastPoll) - PollIntervalSeconds);
}

// --- Rabble.

Rabble::Rabble(unsigned seed, const std::vector<std::string>& kinds) {
  for (const Behaviour& behaviour : Behaviours) {
    if (kinds.empty() || std::ranges::find(kinds, behaviour.name) != kinds.end())
      _behaviours.push_back(&behaviour);
  }
  for (int i = 0; i < SlotCount; ++i) {
    std::seed_seq mixed{seed, static_cast<unsigned>(i)};
    Slot& slot = _slots.emplace_back(Slot{i, Random(mixed)});
    slot.opens = Clock::now() + Gathering * i / SlotCount;
  }
}

void Rabble::gather(Loop& loop) {
  const Moment now = loop.field().now;
  for (Slot& slot : _slots) {
    if (slot.peer || now < slot.opens) continue;
    const bool second = slot.number + SlotCount < SlotNames && draw(slot.random, 0, 1) == 1;
    const int server = second ? slot.number + SlotCount : slot.number;
    const Behaviour* const behaviour = drawBehaviour(slot);
    if (!behaviour) continue;
    slot.peer = &loop.add(
        behaviour->make(loop.field(), slot.random, {fmt::format("storm{:03}", server), slot.processId += 2}));
  }
}

void Rabble::gone(const Peer& peer) {
  const auto slot = std::ranges::find(_slots, &peer, &Slot::peer);
  if (slot == _slots.end()) return;  // a companion
  slot->peer = nullptr;
  slot->opens = Clock::now() + std::chrono::milliseconds(draw(slot->random, 200, 4000));
}

/// Null when no behaviour is for this slot.
const Behaviour* Rabble::drawBehaviour(Slot& slot) const {
  const auto weightOf = [&](const Behaviour& behaviour) {
    if (!behaviour.floods) return behaviour.weight;
    return slot.number % FloodingSlots == 0 ? behaviour.weight * FloodingSlots : 0;
  };
  int total = 0;
  for (const Behaviour* behaviour : _behaviours) total += weightOf(*behaviour);
  if (total == 0) return nullptr;
  int drawn = draw(slot.random, 1, total);
  for (const Behaviour* behaviour : _behaviours) {
    drawn -= weightOf(*behaviour);
    if (drawn <= 0) return behaviour;
  }
  return nullptr;
}

}  // namespace zov::storm

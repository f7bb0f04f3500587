#pragma once
// Who is there: the regulars, who behave and are measured, and the rabble, who do not. 300 names of servers
// in all.

#include <deque>
#include <string>
#include <vector>

#include "behaviours.h"
#include "loop.h"

namespace zov::storm {

constexpr int RegularCount = 20;
constexpr int PollIntervalSeconds = 5;
constexpr std::string_view RegularPrefix = "good";

/// Twenty collectors that stay, and one newcomer after the other that is polled once and goes.
class Regulars : public Loop::Crowd {
 public:
  explicit Regulars(Service& service);
  void gather(Loop& loop) override;
  void gone(const Peer& peer) override;

 private:
  struct Regular {
    std::string name;
    int processId;
    Moment lastPoll{};  // none yet: the clock's beginning
    Moment comesAt{};
    const Peer* peer = nullptr;
  };
  class RegularCollector;
  class Newcomer;

  static void measure(Service& service, const Regular& regular, Moment now);

  Service& _service;
  std::deque<Regular> _regulars;
  const Peer* _newcomer = nullptr;
  Moment _newcomerComesAt{};
  int _newcomers = 0;
};

/// Slots, each with a server name or two and a generator of its own, so that what one does depends on the
/// seed and its place alone: one peer after the other, with a pause between.
class Rabble : public Loop::Crowd {
 public:
  /// Without kinds, all of them.
  Rabble(unsigned seed, const std::vector<std::string>& kinds);
  void gather(Loop& loop) override;
  void gone(const Peer& peer) override;

 private:
  struct Slot {
    int number;
    Random random;
    Moment opens{};
    const Peer* peer = nullptr;
    int processId = 1000;
  };

  const Behaviour* drawBehaviour(Slot& slot) const;

  std::vector<const Behaviour*> _behaviours;
  std::vector<Slot> _slots;
};

}  // namespace zov::storm

#include "loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace zov::storm {

namespace {

constexpr auto Turn = std::chrono::milliseconds(100);
constexpr long FloodBytesPerTurn = 400'000;

}  // namespace

Loop::Loop(std::uint16_t port, Weather& weather, Crowd& crowd)
    : _field{port, Clock::now(), 0, weather},
      _crowd(crowd),
      _epoll(::epoll_create1(EPOLL_CLOEXEC)),
      _thread([this](const std::stop_token& stop) { run(stop); }) {}

Loop::~Loop() {
  _thread.request_stop();
  _thread.join();
  ::close(_epoll);
}

Peer& Loop::add(std::unique_ptr<Peer> peer) {
  Member& member = *_members.emplace_back(std::make_unique<Member>(Member{std::move(peer), EPOLLOUT}));
  epoll_event event{member.interest, {.ptr = &member}};
  ::epoll_ctl(_epoll, EPOLL_CTL_ADD, member.peer->descriptor(), &event);
  return *member.peer;
}

void Loop::run(const std::stop_token& stop) {
  for (Moment next = Clock::now(); !stop.stop_requested(); next = std::max(next + Turn, Clock::now())) {
    awaitTurn(next);
    takeTurn();
  }
  _members.clear();
}

void Loop::awaitTurn(Moment next) {
  std::array<epoll_event, 64> events;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
    if (left <= 0) return;
    const int count =
        ::epoll_wait(_epoll, events.data(), static_cast<int>(events.size()), static_cast<int>(left));
    _field.now = Clock::now();
    for (int i = 0; i < count; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      auto& member = *static_cast<Member*>(event.data.ptr);
      member.peer->ready(event.events);
      watch(member);
    }
  }
}

void Loop::takeTurn() {
  _field.now = Clock::now();
  _field.floodBytes = FloodBytesPerTurn;
  _crowd.gather(*this);
  for (std::size_t i = 0; i < _members.size(); ++i) {
    Member& member = *_members[i];
    member.peer->turn();
    if (auto companion = member.peer->companion()) add(std::move(companion));
    watch(member);
  }
  std::erase_if(_members, [&](const std::unique_ptr<Member>& member) {
    if (!member->peer->over()) return false;
    _crowd.gone(*member->peer);
    return true;
  });
}

/// One that is over waits for nothing more, and is destroyed at the next turn.
void Loop::watch(Member& member) {
  const std::uint32_t interest = member.peer->interest();
  if (member.peer->over()) {
    ::epoll_ctl(_epoll, EPOLL_CTL_DEL, member.peer->descriptor(), nullptr);
  } else if (interest != member.interest) {
    epoll_event changed{member.interest = interest, {.ptr = &member}};
    ::epoll_ctl(_epoll, EPOLL_CTL_MOD, member.peer->descriptor(), &changed);
  }
}

}  // namespace zov::storm

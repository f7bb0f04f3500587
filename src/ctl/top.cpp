// `zovctl top`.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>

#include "ctl/commands.h"
#include "ctl/text.h"
#include "ctl/top_view.h"
#include "platform/clock.h"
#include "platform/services.h"

namespace zov::ctl {

namespace {

using std::chrono::milliseconds;

std::string timeOfDay() {
  const std::time_t now = ZOVClock::seconds();
  tm local{};
  ARK_localtime(&now, &local);
  char text[16];
  std::strftime(text, sizeof text, "%H:%M:%S", &local);
  return text;
}

/// The first one is waited for: without it there is nothing to show.
void readFirst(AgentClient& agent, TopReading& reading) {
  reading.begin();
  while (reading.isUnderWay()) agent.http().wait({}, milliseconds(1000));
  if (!reading.data().error.empty()) throw Failure(Status::Unreachable, reading.data().error);
}

void run(AgentClient& agent, TopReading& reading, TopView& view, milliseconds pause) {
  Terminal terminal;
  const std::vector<int> descriptors = terminal.descriptors();
  for (ZOVClock::Steady next = ZOVClock::steady() + pause;;) {
    terminal.show(view.screen(reading.data(), Terminal::size(), timeOfDay()));
    const auto left = std::chrono::ceil<milliseconds>(next - ZOVClock::steady());
    agent.http().wait(descriptors, std::max(left, milliseconds(0)));
    if (!terminal.takeSignals()) return;
    const auto keys = terminal.readKeys();
    if (!keys) return;
    for (const Key& key : *keys) {
      if (!view.press(key, reading.data())) return;
    }
    if (ZOVClock::steady() < next) continue;
    next = ZOVClock::steady() + pause;
    if (!reading.isUnderWay()) reading.begin();
  }
}

}  // namespace

void top(AgentClient& agent, const TopOptions& options) {
  const bool terminal = isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1;
  TopReading reading(agent);
  TopView view(printable(agent.base()), agent.table("ZOVREQUEST"), options.note,
               terminal && mayColour(STDOUT_FILENO));
  readFirst(agent, reading);
  const auto pause = std::chrono::round<milliseconds>(std::chrono::duration<double>(options.seconds));
  if (terminal) return run(agent, reading, view, pause);
  constexpr std::size_t PageColumns = 80;
  for (const std::string& line : view.page(reading.data(), PageColumns)) std::printf("%s\n", line.c_str());
}

}  // namespace zov::ctl

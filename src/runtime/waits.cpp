#include "runtime/waits.h"

#include <charconv>
#include <string_view>

#include "platform/services.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCWAIT");

namespace {
constexpr long LongestStartDelay = 60;
}

ZOVWaits& zovWaits() {
  static constinit ZOVWaits waits;
  return waits;
}

void zovReadWaits() {
  const char* text = OSL1_GetEnv("ZOV_START_DELAY", nullptr);
  if (text == nullptr) return;
  long& delay = zovWaits().contextStartDelaySeconds;
  const std::string_view digits(text);
  long seconds = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), seconds);
  const bool whole = error == std::errc() && end == digits.data() + digits.size();
  if (whole && seconds >= 0 && seconds <= LongestStartDelay) {
    delay = seconds;
    return;
  }
  DGT1_Printf(traceUnit, DGT1_MESSAGE,
              "ZOV_START_DELAY is \"%s\"; seconds from 0 to %i are accepted. Used: %i.", text,
              LongestStartDelay, delay);
}

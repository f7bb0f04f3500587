#include "runtime/budgets.h"

#include <unistd.h>

#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "platform/services.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCBUDG");

namespace {

constexpr std::size_t SmallestMemoryLimit = ZOVBudgets::MiB;

std::size_t quarterOfMachine() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return 1024 * ZOVBudgets::MiB;
  return static_cast<std::size_t>(pages) / 4 * static_cast<std::size_t>(pageSize);
}

/// How far a unit shifts; nothing for a text that is none.
std::optional<int> shiftOf(std::string_view unit) {
  if (unit.empty()) return 0;
  if (unit == "K" || unit == "k") return 10;
  if (unit == "M" || unit == "m") return 20;
  if (unit == "G" || unit == "g") return 30;
  return std::nullopt;
}

std::optional<std::size_t> parseBytes(std::string_view text) {
  std::size_t number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  const auto shift = shiftOf({end, static_cast<std::size_t>(textEnd - end)});
  if (error != std::errc() || !shift || number > std::numeric_limits<std::size_t>::max() >> *shift) {
    return std::nullopt;
  }
  return number << *shift;
}

}  // namespace

ZOVBudgets::ZOVBudgets() {
  setMemoryLimit(quarterOfMachine());
}

ZOVBudgets& zovBudgets() {
  static auto* const budgets = new ZOVBudgets;  // never destroyed: accounts refer to it
  return *budgets;
}

void zovReadBudgets() {
  const char* const text = OSL1_GetEnv("ZOV_MEMORY_LIMIT", nullptr);
  if (text == nullptr) return;
  const auto bytes = parseBytes(text);
  if (bytes && *bytes >= SmallestMemoryLimit) return zovBudgets().setMemoryLimit(*bytes);
  DGT1_Printf(
      traceUnit, DGT1_MESSAGE,
      "ZOV_MEMORY_LIMIT is \"%s\"; bytes are accepted, from %u, also with K, M or G behind the number. "
      "Used: %u.",
      text, SmallestMemoryLimit, zovBudgets().allServers.bytes);
}

#include "tables/short_names.h"

#include "diag/utf8_handler.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCSHNM");

namespace zov {

namespace {
constexpr std::size_t Digits = 6;
}

ShortNames& ShortNames::agent() {
  static auto* const names = new ShortNames;  // never destroyed: threads may outlive main
  return *names;
}

std::string ShortNames::shorten(std::string_view name, std::size_t width) {
  if (name.size() <= width) return std::string(name);
  std::size_t place;
  {
    const MutexLock lock(_mutex);
    const auto known = _places.find(std::string(name));
    if (known == _places.end() && _places.size() >= MaximumNames) {
      return std::string(ZOVUTF8Handler::truncated(name, width, ZOVUTF8Handler::TruncateEnd));
    }
    place = known == _places.end() ? _places.emplace(name, _places.size()).first->second : known->second;
  }
  const std::string_view start = ZOVUTF8Handler::truncated(name, width - Digits, ZOVUTF8Handler::TruncateEnd);
  std::string shortName = DGT1_FormatText("%.*s%06u", static_cast<int>(start.size()), start.data(),
                                          static_cast<unsigned int>(place));
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Name %s short name %s", std::string(name).c_str(), shortName.c_str());
  return shortName;
}

}  // namespace zov

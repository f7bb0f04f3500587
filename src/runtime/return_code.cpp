#include "runtime/return_code.h"

#include <array>
#include <cstdio>

#include "platform/trace.h"
#include "runtime/environment.h"

static DGT1_Unit traceUnit("ZOVCRETC");

namespace {
constexpr const char* Prefix = "ZOVR";
constexpr int TextSize = 2048;

constexpr auto buildDescriptions() {
  std::array<const char*, ZOVReturnCode::Count> table{};
  table.fill("");
#define ZOV_RETURN_CODE(number, text) table[number] = text;
#include "runtime/return_codes.def"
  return table;
}
constexpr auto descriptions = buildDescriptions();

const char* keyOf(unsigned int code) {
  thread_local char key[16];
  std::snprintf(key, sizeof key, "%s%04u", Prefix, code);
  return key;
}

// Empty when neither the catalogue nor the program has a text.
const char* textOf(unsigned int code) {
  ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr) return descriptions[code];
  thread_local char texts[2][TextSize];
  thread_local char local[TextSize];
  thread_local int turn = 0;
  turn = 1 - turn;
  char* text = texts[turn];
  text[0] = '\0';
  environment->services().retrieveString(text, local, TextSize, descriptions.data(), Prefix,
                                         static_cast<int>(code));
  return text;
}
}  // namespace

const char* const* const ZOVReturnCode::Descriptions = descriptions.data();

const char* ZOVReturnCode::getDescription(unsigned int code) {
  const char* text = code < Count ? textOf(code) : "";
  if (text[0] != '\0') return text;
  const char* key = keyOf(code);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Conversion error for %s", key);
  return key;
}

void ZOVReturnCode::print() {
  if (!traceUnit.on(DGT1_ERROR)) return;
  for (unsigned int code = 0; code < Count; ++code) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Internal Messages[%04d]: %s", code, descriptions[code]);
  }
  for (unsigned int code = 0; code < Count; ++code) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "LNG2 Messages[%s%04d]: %s", Prefix, code, getDescription(code));
  }
}

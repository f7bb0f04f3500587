// The body of an action: any bytes are refused with a sentence, or give the agent a command within the
// limits.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "framework/tqbox.h"
#include "hub/api/actions.h"
#include "hub/core/registry.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

long take(TqboxAutomationCapsule* capsule) {
  const std::size_t length = ::strnlen(capsule->command, sizeof capsule->command);
  require(length > 0 && length < sizeof capsule->command);
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zov::hub::Registry::instance().commandCallback = take;
  zov::hub::Call call;
  call.body.assign(reinterpret_cast<const char*>(data), size);
  const zov::hub::Reply reply = zov::hub::runCommand(call);
  if (const auto* const refusal = std::get_if<zov::hub::Answer>(&reply)) {
    require(refusal->status == 400 && !refusal->body.empty());
    return 0;
  }
  require(!std::get<zov::hub::Work>(reply).run().body.empty());
  return 0;
}

// The body of an action: any bytes make a command to be carried out, or an answer that says what is wrong.

#include <cstdint>
#include <cstdlib>

#include "hub/api/actions.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zov::hub::Reply reply = zov::hub::runCommand(
      {.subject = "", .parameters = {}, .body = {reinterpret_cast<const char*>(data), size}});
  if (const auto* refusal = std::get_if<zov::hub::Answer>(&reply)) {
    if (refusal->status != 400 || !refusal->body.starts_with("{\"error\":\"")) std::abort();
  } else if (!std::holds_alternative<zov::hub::Work>(reply)) {
    std::abort();
  }
  return 0;
}

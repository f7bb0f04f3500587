// The body of an action: any bytes make a node and a command within the limits, or a sentence about what is
// wrong.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "hub/api/query.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ZOVHubCommand command;
  const std::string wrong = command.read({reinterpret_cast<const char*>(data), size});
  if (!wrong.empty()) return 0;
  require(!command.node.empty() && !command.text.empty() && command.text.size() < 1024);
  require(command.node.find('\0') == std::string::npos && command.text.find('\0') == std::string::npos);
  return 0;
}

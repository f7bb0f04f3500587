// A line of the context file, as a person or a crash may have left it: it makes a server or none, and what
// was made is written as a line that makes the same server.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "context/application_context.h"
#include "server/application_server.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string line(reinterpret_cast<const char*>(data), size);
  removeCRandLF(line.data(), 'B');
  ZOVReturnCode rc;
  const auto server = ZOVApplicationContext::createAppServerFromContextRecord(line.c_str(), rc);
  if (!server) return 0;
  const RWCString record = ZOVApplicationContext::writeContextRecord(*server);
  const auto again = ZOVApplicationContext::createAppServerFromContextRecord(record.data(), rc);
  if (!again || !again->isEqual(server.get()) || ZOVApplicationContext::writeContextRecord(*again) != record)
    std::abort();
  return 0;
}

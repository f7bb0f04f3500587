// The target of an HTTP request: any bytes are either read, within the limits, or refused with a sentence;
// and what was read, written again with every byte escaped, reads the same.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "hub/core/settings.h"
#include "hub/http/target.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::string escaped(const std::string& text) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zov::hub::Target target;
  std::string error;
  const unsigned status = target.read({reinterpret_cast<const char*>(data), size}, error);
  require((status == 0) == error.empty());
  if (status != 0) return 0;

  const zov::hub::Limits limits = zov::hub::limits();
  require(target.parameters.size() <= limits.parameters);
  std::string again = escaped(target.path);
  char before = '?';
  for (const auto& [name, value] : target.parameters) {
    require(value.size() <= limits.parameterBytes);
    require(name.find('\0') == std::string::npos && value.find('\0') == std::string::npos);
    again.append(1, before).append(escaped(name)).append("=").append(escaped(value));
    before = '&';
  }
  zov::hub::limits().targetBytes = 10 * size + 10;
  zov::hub::Target second;
  require(second.read(again, error) == 0 && second.path == target.path);
  require(second.parameters.size() == target.parameters.size());
  for (std::size_t i = 0; i < target.parameters.size(); ++i) {
    require(second.parameters[i].name == target.parameters[i].name);
    require(second.parameters[i].value == target.parameters[i].value);
  }
  zov::hub::limits() = limits;
  return 0;
}

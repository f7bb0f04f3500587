#include "transport/response.h"

// The status is biased by 1, so that a false one is sent too.
std::span<const ZOVResponse::NumericField> ZOVResponse::numericFields() {
  static constexpr NumericField fields[] = {
      {StatusKey, [](const ZOVResponse& response) { return response._status ? 2LL : 1LL; },
       [](ZOVResponse& response, long long value) {
         response._status = static_cast<int>(static_cast<unsigned long long>(value) - 1) != 0;
       }},
      numeric<&ZOVResponse::_value>(ValueKey),
      numeric<&ZOVResponse::_secondValue>(SecondValueKey),
  };
  return fields;
}

std::span<const ZOVResponse::TextField> ZOVResponse::textFields() {
  static constexpr TextField fields[] = {{MessageKey, &ZOVResponse::_message}};
  return fields;
}

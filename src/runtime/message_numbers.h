#pragma once
// The numbers of the messages, by name: ZOVA0001I is 1, ZOVA0084E is 84. Their texts are the catalogue's
// (diag/messages.h); numbers and texts stand in messages.def.

#include <string_view>

/// The number in a message key such as "ZOVA0084E".
constexpr int zovMessageNumber(std::string_view key) {
  int number = 0;
  for (const char digit : key.substr(4, 4)) number = number * 10 + (digit - '0');
  return number;
}

enum ZOVMessageNumber : int {
#define ZOV_MESSAGE(key, severity, parameters, text) key = zovMessageNumber(#key),
#include "runtime/messages.def"
};

#pragma once
// Arithmetic over numbers that peers send: defined for every operand.

#include <bit>
#include <cmath>
#include <limits>

/// Sum, difference and product wrap in 64 bits.
constexpr long long zovAdd(long long a, long long b) {
  return std::bit_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}
constexpr long long zovSubtract(long long a, long long b) {
  return std::bit_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}
constexpr long long zovMultiply(long long a, long long b) {
  return std::bit_cast<long long>(static_cast<unsigned long long>(a) * static_cast<unsigned long long>(b));
}

/// Truncates towards zero. The one quotient that does not fit wraps; the divisor is not 0.
constexpr long long zovDivide(long long a, long long b) {
  return b == -1 ? zovSubtract(0, a) : a / b;
}

/// Truncates towards zero; what does not fit gives the nearest number there is, and no number gives 0.
inline long long zovToInteger(double value) {
  constexpr double limit = 9223372036854775808.0;  // 2 to the power of 63
  if (std::isnan(value)) return 0;
  if (value >= limit) return std::numeric_limits<long long>::max();
  if (value < -limit) return std::numeric_limits<long long>::min();
  return static_cast<long long>(value);
}

#pragma once
// For messages about words that are not known: which of the known ones may have been meant.

#include <span>
#include <string>
#include <string_view>

namespace zov {
/// The known word that takes the fewest letters changed, in any case of letters; empty when more than a third
/// of the letters would change.
std::string_view nearestWord(std::string_view word, std::span<const std::string_view> known);
/// A sentence with the words that begin so, else the nearest word, or with all that are known: " Did you mean
/// A?" or " Known are A, B."
std::string nearestHint(std::string_view word, std::span<const std::string_view> known);
}  // namespace zov

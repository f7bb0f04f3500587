#include "config/nearest_word.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>
#include <vector>

namespace zov {

namespace {

constexpr std::size_t LongestWord = 64;  // longer ones are near to nothing

bool sameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

/// How many letters must be put in, taken out or changed.
std::size_t distance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < to.size(); ++j) {
      const std::size_t changed = diagonal + (sameLetter(from[i], to[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string_view nearestWord(std::string_view word, std::span<const std::string_view> known) {
  if (word.size() > LongestWord) return {};
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
  for (const std::string_view candidate : known) {
    if (const std::size_t changes = distance(word, candidate); changes < least) {
      nearest = candidate, least = changes;
    }
  }
  return nearest;
}

std::string nearestHint(std::string_view word, std::span<const std::string_view> known) {
  std::string begun;
  for (const std::string_view candidate : known) {
    const bool begins =
        !word.empty() && std::ranges::equal(word, candidate.substr(0, word.size()), sameLetter);
    if (begins) begun.append(begun.empty() ? " Did you mean " : " or ").append(candidate);
  }
  if (!begun.empty()) return begun + "?";
  if (const std::string_view nearest = nearestWord(word, known); !nearest.empty()) {
    return " Did you mean " + std::string(nearest) + "?";
  }
  std::string hint;
  for (const std::string_view candidate : known)
    hint.append(hint.empty() ? " Known are " : ", ").append(candidate);
  return hint.empty() ? hint : hint + ".";
}

}  // namespace zov

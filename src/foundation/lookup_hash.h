#pragma once
// RWLookupHash: what classes make their lookupHash() of. Words and texts are mixed with two secrets that each
// process draws for itself: names come from peers, and without the secrets nobody can make names that meet in
// one place of a table's index. Nothing that is seen outside follows from it: a table's order of iteration
// goes by hash(). Equal contents have equal values for the life of the process. Any thread may use one of its
// own.

#include <cstdint>
#include <cstring>
#include <string_view>

class RWLookupHash {
 public:
  RWLookupHash() : _state(secrets().start), _factor(secrets().factor) {}

  RWLookupHash& add(std::uint64_t word) {
    // Both halves of the product: how a difference of two words spreads depends on the secret factor, so that
    // no second word is known to take it back.
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(_state ^ word) * _factor;
    _state = static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    return *this;
  }
  /// With its length, so that two texts side by side are not those of another split.
  RWLookupHash& add(std::string_view text) {
    add(text.size());
    while (!text.empty()) {
      std::uint64_t word = 0;
      const std::size_t taken = text.size() < sizeof word ? text.size() : sizeof word;
      std::memcpy(&word, text.data(), taken);
      add(word);
      text.remove_prefix(taken);
    }
    return *this;
  }
  unsigned int value() const { return static_cast<unsigned int>(_state >> 32 ^ _state); }

 private:
  struct Secrets {
    std::uint64_t start, factor;
  };
  static const Secrets& secrets();

  std::uint64_t _state;
  std::uint64_t _factor;
};

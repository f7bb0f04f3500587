#pragma once
// The filter PARMA: "TOP", and pairs of a word and its value, separated by semicolons.

#include <cstdint>
#include <string>
#include <string_view>

#include "hub/core/table.h"

namespace zov::hub {

/// What a PARMA asks for. Tables take no notice of what they do not understand in one; the hub refuses it.
struct TopFilter {
  std::string column;      ///< as the table has it; empty: no order
  std::string order;       ///< ASC or DESC
  std::string newSample;   ///< 1: with the data at hand
  std::uint32_t rows = 0;  ///< of each subnode; 0: all

  /// Reads a value of the table's PARMA: "", or a sentence about what is wrong.
  std::string read(std::string_view value, const Table& table);
  /// The value again, with a limit that no table reaches: for rows that are counted elsewhere.
  std::string withoutLimit() const;

 private:
  std::string take(std::string_view word, std::string_view value, const Table& table);
};

}  // namespace zov::hub

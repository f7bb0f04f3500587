#pragma once
// zov::ShortNames: names that are longer than the column that shows them, as the start of the name and a
// number. The number is the name's place in a list of all long names, which only grows while the agent runs;
// so a short name stands for its resource in every row. Any thread may call.

#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/mutex.h"

namespace zov {

class ShortNames {
 public:
  /// Names come from servers; those beyond are cut at the column's width, without a number.
  static constexpr std::size_t MaximumNames = 10'000;

  static ShortNames& agent();  ///< the one list that the tables share

  /// The name itself, when `width` bytes hold it; otherwise as much of its start as leaves room for the six
  /// digits, with no character split.
  std::string shorten(std::string_view name, std::size_t width);

 private:
  Mutex _mutex;
  std::unordered_map<std::string, std::size_t> _places ZOV_GUARDED_BY(_mutex);
};

}  // namespace zov

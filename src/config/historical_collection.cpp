#include "config/historical_collection.h"

#include "foundation/string.h"

namespace {

struct Keyword {
  const char* word;
  ZOVHistoricalCollection bit;
};
constexpr Keyword Keywords[] = {
    {"PSI", ZOV_HISTORY_PSI},
    {"WA", ZOV_HISTORY_WA},
    {"LOG", ZOV_HISTORY_LOG},
    {"IVS", ZOV_HISTORY_IVS},
    {"VERBOSEGC", ZOV_HISTORY_VERBOSEGC},
    {"HEAP", ZOV_HISTORY_HEAP},
    {"LOCK", ZOV_HISTORY_LOCK},
};

unsigned int bitOf(const RWCString& word) {
  for (const Keyword& keyword : Keywords) {
    if (word == keyword.word) return keyword.bit;
  }
  return ZOV_HISTORY_INVALID;
}

}  // namespace

unsigned int zov::historicalCollectionFlag(const char* words) {
  RWCString text(words);
  text.toUpper();
  text = text.strip(RWCString::both);
  if (text.isNull()) return ZOV_HISTORY_INVALID;
  if (text == "NONE") return ZOV_HISTORY_NONE;
  if (text == "ALL") return ZOV_HISTORY_ALL;

  unsigned int flag = 0;
  RWCTokenizer next(text);
  for (RWCString word = next(" ,"); !word.isNull(); word = next(" ,")) {
    const unsigned int bit = bitOf(word);
    if (bit == ZOV_HISTORY_INVALID || (flag & bit) != 0) return ZOV_HISTORY_INVALID;
    flag |= bit;
  }
  return flag == 0 ? ZOV_HISTORY_INVALID : flag;
}

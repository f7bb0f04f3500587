#pragma once
// The words that say which data are kept as history: "NONE", "ALL", or a list of sources separated by blanks
// and commas, in any case.

/// A bit a source.
enum ZOVHistoricalCollection : unsigned int {
  ZOV_HISTORY_NONE = 0,
  ZOV_HISTORY_PSI = 1,
  ZOV_HISTORY_WA = 2,
  ZOV_HISTORY_LOG = 4,
  ZOV_HISTORY_IVS = 8,
  ZOV_HISTORY_VERBOSEGC = 16,
  ZOV_HISTORY_HEAP = 32,
  ZOV_HISTORY_LOCK = 64,
  ZOV_HISTORY_ALL = 127,
  ZOV_HISTORY_INVALID = 0x80000000,
};

namespace zov {
/// The bits of `words`; ZOV_HISTORY_INVALID for none, for a word that is not known, and for one said twice.
unsigned int historicalCollectionFlag(const char* words);
}  // namespace zov

#include "tables/sorted_sample.h"

namespace zov {

int SortedSample::compareTo(const RWCollectable* other) const {
  if (_filter == nullptr) return 0;
  const long long theirs = static_cast<const SortedSample*>(other)->_value;
  const int order = _value < theirs ? -1 : _value > theirs ? 1 : 0;
  return _filter->sortOrder == SortDescending ? -order : order;
}

long long SortedSample::sortValue() const {
  if (_filter == nullptr) return 0;
  const int key = static_cast<int>(_filter->sortKeyword);
  switch (_filter->sortValueType) {
    case SortByValue:
      return _sample->getNumericData(key);
    case SortByRate:
      return _sample->getRate(key);
    case SortByPercent:
      return _sample->getPercent(key);
  }
  return 0;
}

}  // namespace zov

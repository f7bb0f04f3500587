#include "hub/api/row_page.h"

#include <algorithm>
#include <atomic>

#include "framework/filter.h"
#include "hub/api/row_form.h"
#include "hub/core/settings.h"

namespace zov::hub {
namespace {

std::atomic<std::size_t> bytesOfAllPages{0};

/// Below zero, zero or above, as two rows compare by a column.
int compare(const Column& column, const char* a, const char* b) {
  if (column.type == ColumnInfo_Integer) {
    const std::int32_t first = numberOf(column, a);
    const std::int32_t second = numberOf(column, b);
    return first < second ? -1 : first > second;
  }
  const std::string_view first = textOf(column, a);
  const std::string_view second = textOf(column, b);
  if (column.described.isDigits && first.size() != second.size()) {
    return first.size() < second.size() ? -1 : 1;
  }
  return first.compare(second);
}

}  // namespace

RowPage::~RowPage() {
  bytesOfAllPages -= _counted;
}

bool RowPage::isBefore(const Place& a, const Place& b) const {
  if (const Column* const column = _paging.order; column != nullptr) {
    const bool noFirst = hasNoValue(*column, rowOf(a));
    const bool noSecond = hasNoValue(*column, rowOf(b));
    if (noFirst != noSecond) return noSecond;  // what is not known comes last, either way
    const int order = noFirst ? 0 : compare(*column, rowOf(a), rowOf(b));
    if (order != 0) return (order < 0) != _paging.descending;
  }
  return a.part != b.part ? a.part < b.part : a.number < b.number;
}

bool RowPage::add(std::size_t part, const char* row) {
  constexpr std::size_t leastPruned = 64;
  if (const std::size_t wanted = _paging.wanted();
      wanted != 0 && _places.size() >= 2 * wanted + leastPruned) {
    prune();
  }
  if (_free.empty()) {
    if (bytesOfAllPages.fetch_add(_table.rowBytes) + _table.rowBytes > limits().pageBytes) {
      bytesOfAllPages -= _table.rowBytes;
      return false;
    }
    _counted += _table.rowBytes;
    _free.push_back(_rows.size() / _table.rowBytes);
    _rows.resize(_rows.size() + _table.rowBytes);
  }
  _places.push_back({part, _count++, _free.back()});
  _free.pop_back();
  std::copy_n(row, _table.rowBytes, _rows.data() + _places.back().slot * _table.rowBytes);
  return true;
}

void RowPage::prune() {
  const auto last = _places.begin() + static_cast<std::ptrdiff_t>(_paging.wanted());
  std::ranges::nth_element(_places, last, [this](const Place& a, const Place& b) { return isBefore(a, b); });
  for (auto place = last; place != _places.end(); ++place) _free.push_back(place->slot);
  _places.erase(last, _places.end());
}

void RowPage::forEach(const std::function<bool(const char*)>& take) {
  std::ranges::sort(_places, [this](const Place& a, const Place& b) { return isBefore(a, b); });
  const std::size_t end = _paging.limit == 0 ? _places.size() : std::min(_places.size(), _paging.wanted());
  for (std::size_t i = _paging.offset; i < end; ++i) {
    if (!take(rowOf(_places[i]))) return;
  }
}

}  // namespace zov::hub

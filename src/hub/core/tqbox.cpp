#include "framework/tqbox.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

#include "hub/core/request.h"
#include "hub/core/settings.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHTQBX");

namespace {

constexpr int notSupported = 1;
constexpr int noMoreRows = 2;
constexpr int noOneListens = 3;
constexpr int atEnd = 1;

template <class T>
int compare(const T& value, _IntfOper op, const T& threshold) {
  switch (op) {
    case _IntfOper::Equal:
      return value == threshold;
    case _IntfOper::NotEqual:
      return value != threshold;
    case _IntfOper::Less:
      return value < threshold;
    case _IntfOper::LessOrEqual:
      return value <= threshold;
    case _IntfOper::Greater:
      return value > threshold;
    case _IntfOper::GreaterOrEqual:
      return value >= threshold;
  }
  return 0;
}

std::string_view withoutPadding(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool isGivenUp(const ContextInfo* context) {
  return context != nullptr && context->givenUp != nullptr && context->givenUp->load();
}

bool sameName(const char* lower, const char* upper) {
  for (; *lower != '\0' && *upper != '\0'; ++lower, ++upper) {
    const char c = *lower >= 'a' && *lower <= 'z' ? static_cast<char>(*lower - 'a' + 'A') : *lower;
    if (c != *upper) return false;
  }
  return *lower == *upper;
}

}  // namespace

tqbox::tqbox(RequestDetail* detail, ContextInfo* context, TableManager*)
    : requestDetail(detail), _context(context) {
  samptype = SamplePlain;
  if (context == nullptr) return;
  if (!context->filters.empty()) samptype = SampleWithFilters;
  interval = context->interval;
  std::memcpy(situationName, context->situation.data(),
              std::min(context->situation.size(), sizeof situationName));
  originText = context->origin;
}

tqbox::~tqbox() = default;

void tqbox::PrintSelf() {
  DumpThresholds();
}
void tqbox::TakeSample() {}
int tqbox::NumColumns() {
  return 0;
}
int tqbox::GetColumnInfo(ColumnInfo*, int) {
  return notSupported;
}
int tqbox::ExecuteCommand(const char*, int, const char*) {
  return notSupported;
}
int tqbox::ColumnIsException(const char*, const char*, _IntfOper, const char*) {
  return 0;
}
void tqbox::CommandCompleted(TqboxAutomationCapsule*) {}

int tqbox::InsertRow(const char* row) {
  if (_rowSize <= 0 || _data.count < 0 || isGivenUp(_context)) return noMoreRows;
  if (_context != nullptr && _context->rowsOfSubnode != 0 && _subnodeRows >= _context->rowsOfSubnode) {
    return noMoreRows;
  }
  if (_context != nullptr && _context->takeRow) {
    if (!_context->takeRow(row)) return noMoreRows;
    ++_subnodeRows;
    return 0;
  }
  const auto rowSize = static_cast<std::size_t>(_rowSize);
  const auto count = static_cast<std::size_t>(_data.count);
  if (count == _data.rows.size() / rowSize) {
    const std::size_t most = zov::hub::limits().heldRowBytes / rowSize;
    if (count >= most) return noMoreRows;
    const std::size_t step = std::max({std::size_t{1}, static_cast<std::size_t>(_data.allocSize), count / 2});
    _data.rows.resize(std::min(count + step, most) * rowSize);
    _data.allocated = static_cast<std::int32_t>(_data.rows.size() / rowSize);
  }
  std::memcpy(_data.rows.data() + count * rowSize, row, rowSize);
  ++_data.count;
  ++_subnodeRows;
  return 0;
}

const char* tqbox::rowAt(std::int32_t index) const {
  if (index < 0 || index >= _data.count || index >= _data.allocated) return nullptr;
  return _data.rows.data() + static_cast<std::size_t>(index) * static_cast<std::size_t>(_rowSize);
}

int tqbox::CheckForException(const char* row) {
  if (_context == nullptr) return 1;
  return std::ranges::all_of(_context->thresholds, [&](const zov::hub::Threshold& threshold) {
    return ColumnIsException(row, threshold.column.c_str(), threshold.op, threshold.value.c_str()) != 0;
  });
}

int tqbox::IsException(_IntfOper op, long value, const char* threshold) const {
  if (threshold == nullptr) return 0;
  const std::string_view text = withoutPadding(threshold);
  long number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return 0;
  return compare(value, op, number);
}

int tqbox::IsException(_IntfOper op, const char* value, const char* threshold, int width) const {
  if (value == nullptr || threshold == nullptr || width < 0) return 0;
  return compare(withoutPadding({value, static_cast<std::size_t>(width)}), op, withoutPadding(threshold));
}

int tqbox::Dispatch() {
  if (_context == nullptr || !_context->deliver) return noOneListens;
  return _context->deliver(*this) ? 0 : noOneListens;
}

const char* tqbox::GetSubnode() {
  if (_context == nullptr || _nextSubnode >= _context->subnodes.size() || isGivenUp(_context)) return nullptr;
  _subnodeRows = 0;
  return _context->subnodes[_nextSubnode++].c_str();
}

void tqbox::ResetGetSubnode() {
  _nextSubnode = 0;
}

void tqbox::ReportSubnode(const char* subnode, const char* status, const char* reason) {
  if (_context != nullptr && _context->nodes != nullptr) _context->nodes->add({subnode, status, reason});
}

int tqbox::IsGivenUp() const {
  return isGivenUp(_context);
}

int tqbox::IsHistoryRequest() const {
  return _context != nullptr && _context->history;
}

int tqbox::GetFilterInfo(QFL1_FILTERINFO** filter) {
  if (filter == nullptr || _context == nullptr || _nextFilter >= _context->filters.size()) return atEnd;
  zov::hub::Filter& next = _context->filters[_nextFilter++];
  next.info.columnName = next.column.c_str();
  next.info.valueType = next.type;
  if (next.type == QFL1_INTEGER) {
    next.info.valueLength = sizeof next.number;
    next.info.value = &next.number;
  } else {
    constexpr std::size_t most = std::numeric_limits<std::int16_t>::max();
    next.info.valueLength = static_cast<std::int16_t>(std::min(next.text.size(), most));
    next.info.value = next.text.data();
  }
  *filter = &next.info;
  return 0;
}

void tqbox::ResetFilterIndex() {
  _nextFilter = 0;
}

int tqbox::GetColumnInfoByName(ColumnInfo* info, const char* name) {
  if (info == nullptr || name == nullptr) return notSupported;
  for (int i = 0; i < NumColumns(); ++i) {
    ColumnInfo column;
    if (GetColumnInfo(&column, i) != 0 || column.name == nullptr || !sameName(column.name, name)) continue;
    *info = column;
    return 0;
  }
  return atEnd;
}

void tqbox::FinishedAutomationCommand(TqboxAutomationCapsule* capsule) {
  if (capsule != nullptr && _context != nullptr && _context->finished) _context->finished(*capsule);
  CommandCompleted(capsule);
}

void tqbox::DumpThresholds() const {
  if (_context == nullptr || !traceUnit.on(DGT1_STATE)) return;
  for (const zov::hub::Threshold& threshold : _context->thresholds) {
    DGT1_Print(traceUnit, __LINE__, "\tthreshold %s %d %s", threshold.column.c_str(), threshold.op,
               threshold.value.c_str());
  }
}

#include "samples/string_abbreviation_table.h"

#include <cstdlib>

#include "runtime/trace_scope.h"
#include "samples/sample_classes.h"

static DGT1_Unit traceUnit("ZOVCABBR");

ZOVStringAbbreviationTable::Entry::Entry(std::string_view itsFullString, std::string_view itsAbbreviation)
    : fullString(itsFullString),
      abbreviation(itsAbbreviation),
      hashValue(abbreviation.isNull()
                    ? 0
                    : static_cast<unsigned int>(std::strtol(abbreviation.data() + 1, nullptr, 10))) {}

std::size_t ZOVStringAbbreviationTable::Entry::memoryBytes() const {
  constexpr std::size_t Place = 64;
  return sizeof *this + Place + zov::BlockBytes + zov::textBytes(fullString) + zov::textBytes(abbreviation);
}

bool ZOVStringAbbreviationTable::Entry::isEqual(const RWCollectable* other) const {
  return other != nullptr && other->isA() == isA() &&
         abbreviation == static_cast<const Entry*>(other)->abbreviation;
}

ZOVStringAbbreviationTable::ZOVStringAbbreviationTable(unsigned int size) : RWHashTable(size) {}

ZOVStringAbbreviationTable::~ZOVStringAbbreviationTable() {
  RWHashTable::clearAndDestroy();
}

const ZOVBudget* ZOVStringAbbreviationTable::createAbbreviation(const ZOVStringAbbreviationSample& sample) {
  ZOV_TRACE(Public);
  const ZOVBudget& most = zovBudgets().abbreviation;
  auto entry = std::make_unique<Entry>(sample.fullString.view(), sample.abbreviation.view());
  zov::ExclusiveLock exclusive(_lock);
  drop(*entry);
  const std::size_t length = sample.fullString.length() + sample.abbreviation.length();
  if (const ZOVBudget* full = length > most.bytes ? &most : _memory.charge(entry->memoryBytes())) return full;
  lastEntry = entry.get();
  insert(entry.release());
  return nullptr;
}

void ZOVStringAbbreviationTable::drop(const Entry& wanted) {
  const std::unique_ptr<Entry> former(static_cast<Entry*>(remove(&wanted)));
  if (!former) return;
  lastEntry = nullptr;
  _memory.release(former->memoryBytes());
}

std::optional<RWCString> ZOVStringAbbreviationTable::getFullStringForAbbreviation(
    std::string_view abbreviation) const {
  const Entry wanted({}, abbreviation);
  zov::SharedLock shared(_lock);
  const Entry* entry = lastEntry;
  if (entry == nullptr || !entry->isEqual(&wanted)) {
    entry = static_cast<const Entry*>(find(&wanted));
    lastEntry = entry;
  }
  if (entry == nullptr) return std::nullopt;
  return entry->getFullString();
}

void ZOVStringAbbreviationTable::clearAndDestroy() {
  ZOV_TRACE(Public);
  zov::ExclusiveLock exclusive(_lock);
  lastEntry = nullptr;
  RWHashTable::clearAndDestroy();
  _memory.clear();
}

bool ZOVStringAbbreviationTable::isAbbreviatedString(std::string_view text) {
  return text.size() > 1 && text[0] == '#' && text[1] != '#';
}

void ZOVStringAbbreviationTable::convertNonAbbreviatedString(RWCString& text) {
  if (text.view().starts_with("##")) text.remove(0, 1);
}

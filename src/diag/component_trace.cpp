#include "diag/component_trace.h"

#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCCTRC");

void ZOVComponentTraceEntryArgument::print() const {
  if (traceUnit.on(DGT1_ERROR)) SnapHex(traceUnit, _value.data(), _value.length(), _title.data());
}

RWCString ZOVComponentTraceEntry::getThreadIdString() const {
  return RWCString(DGT1_FormatText("%i", static_cast<unsigned long>(_threadId)));
}

void ZOVComponentTraceEntry::print() const {
  const RWCString line = getTimeString() + " " + getTraceEntryType() + " Thread " + getThreadIdString();
  DGT1_Printf(traceUnit, DGT1_ERROR, "%s", line.data());
  RWSlistCollectablesIterator next(_arguments);
  while (RWCollectable* argument = next()) {
    static_cast<const ZOVComponentTraceEntryArgument*>(argument)->print();
  }
}

RWCString ZOVAgentFrameworkComponentTraceEntry::getTraceEntryType() const {
  return RWCString(DGT1_FormatText("TSL agent framework processing request for table %s", _table.data()));
}

RWCollectable* ZOVComponentTrace::insert(RWCollectable* entry) {
  ZOV_TRACE(Restricted);
  _mutex.get();
  const auto failure = guarded(ZOV_PLACE, [&] {
    append(entry);
    while (entries() > static_cast<std::size_t>(_limit)) delete get();
  });
  _mutex.release();
  if (failure) zovRaise(*failure);
  return entry;
}

void ZOVComponentTrace::print() const {
  ZOV_TRACE(Public);
  dumpUnder(_mutex, [this]() ZOV_REQUIRES(_mutex) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "%s", getTraceTitle().data());
    printEntries(nullptr);
  });
}

void ZOVComponentTrace::printForThread(const unsigned long* threadId) const {
  ZOV_TRACE(Public);
  dumpUnder(_mutex, [this, threadId]() ZOV_REQUIRES(_mutex) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "%s for thread id %i ", getTraceTitle().data(), *threadId);
    printEntries(threadId);
  });
}

/// The entries of one thread, or of all.
void ZOVComponentTrace::printEntries(const unsigned long* threadId) const {
  RWSlistCollectablesIterator next(*this);
  while (RWCollectable* member = next()) {
    const auto* entry = static_cast<const ZOVComponentTraceEntry*>(member);
    if (!threadId || entry->getThreadId() == *threadId) entry->print();
  }
}

#pragma once
// The component trace: a bounded in-memory history of what passed through one component (here the boundary
// with the framework), that can be traced whole or for one thread. It is apart from the internal trace that
// each thread has of its own.

#include <pthread.h>

#include "foundation/collections.h"
#include "runtime/collectable.h"
#include "runtime/mutex.h"
#include "runtime/time.h"

/// A titled value of an entry: a copy of the bytes given, zero bytes included.
class ZOVComponentTraceEntryArgument : public ZOVCollectable {
 public:
  ZOVComponentTraceEntryArgument(const char* title, const void* value, int length)
      : _title(title), _value(static_cast<const char*>(value), length > 0 ? std::size_t(length) : 0) {}
  virtual void print() const;
  const RWCString& getTitle() const { return _title; }
  const RWCString& getValue() const { return _value; }

 private:
  RWCString _title;
  RWCString _value;
};

/// One entry: its time, its thread, and its arguments, which it owns. Immutable once inserted.
class ZOVComponentTraceEntry : public ZOVCollectable {
 public:
  ZOVComponentTraceEntry() : _time(ZOVTime::currentTime()), _threadId(pthread_self()) {}
  ~ZOVComponentTraceEntry() override { _arguments.clearAndDestroy(); }
  ZOVComponentTraceEntry(const ZOVComponentTraceEntry&) = delete;
  ZOVComponentTraceEntry& operator=(const ZOVComponentTraceEntry&) = delete;

  virtual RWCString getTimeString() const { return _time.asString(); }
  virtual RWCString getThreadIdString() const;
  virtual RWCString getTraceEntryType() const { return RWCString(); }
  virtual void print() const;
  virtual void newArgument(const char* title, const void* value, int length) {
    newArgument(new ZOVComponentTraceEntryArgument(title, value, length));
  }
  virtual void newArgument(ZOVComponentTraceEntryArgument* argument) { _arguments.append(argument); }
  pthread_t getThreadId() const { return _threadId; }

 private:
  ZOVTime _time;
  RWSlistCollectables _arguments;
  pthread_t _threadId;
};

/// The entry of a request of the framework, with the table being served.
class ZOVAgentFrameworkComponentTraceEntry : public ZOVComponentTraceEntry {
 public:
  explicit ZOVAgentFrameworkComponentTraceEntry(const char* table) : _table(table) {}
  RWCString getTraceEntryType() const override;

 private:
  RWCString _table;
};

/// The bounded queue. Owns its entries, the oldest of which goes first. Any thread may insert and print.
class ZOVComponentTrace : public RWSlistCollectablesQueue, public ZOVMemoryManager {
 public:
  static constexpr int DefaultLimit = 50;
  explicit ZOVComponentTrace(int limit = DefaultLimit) : _limit(limit) {}
  ~ZOVComponentTrace() override { clearAndDestroy(); }
  ZOVComponentTrace(const ZOVComponentTrace&) = delete;
  ZOVComponentTrace& operator=(const ZOVComponentTrace&) = delete;

  /// Takes over a ZOVComponentTraceEntry, and deletes the oldest beyond the limit.
  RWCollectable* insert(RWCollectable* entry) override;
  void print() const;
  void printForThread(const unsigned long* threadId) const;
  virtual RWCString getTraceTitle() const = 0;

 private:
  void printEntries(const unsigned long* threadId) const ZOV_REQUIRES(_mutex);

  int _limit;
  mutable ZOVMutex _mutex;  // guards the queue
};

class ZOVAgentFrameworkComponentTrace : public ZOVComponentTrace {
 public:
  using ZOVComponentTrace::ZOVComponentTrace;
  RWCString getTraceTitle() const override { return "TSL Agent Framework Internal Trace Table Contents"; }
};

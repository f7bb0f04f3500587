#pragma once
// The bounded per-thread internal trace: a ring of the last N entries and exits of functions, and a stack of
// the functions now entered. Written by its own thread; a dump may read it from another, so a small mutex of
// its own stands before both. All memory is taken at construction.

#include <vector>

#include "foundation/string.h"
#include "platform/mutex.h"

class ZOVInternalTraceEntry {
 public:
  virtual ~ZOVInternalTraceEntry() = default;
  void set(const char* tag, const char* function, int type, long parameter);  ///< longer texts are cut
  const char* getTag() const { return _tag; }
  const char* getFunction() const { return _function; }
  int getType() const { return _type; }
  unsigned int getParameter() const { return _parameter; }

 private:
  char _tag[20] = {};
  char _function[120] = {};
  int _type = 0;  // 0 entry, 1 exit
  unsigned int _parameter = 0;
};

class ZOVStackTraceEntry : public ZOVInternalTraceEntry {
 public:
  int _level = 0;
  bool operator==(const ZOVStackTraceEntry& other) const;  ///< tag and name
};

class ZOVInternalTraceTable {
 public:
  explicit ZOVInternalTraceTable(int size);
  virtual ~ZOVInternalTraceTable() = default;

  /// Type 0 is an entry, 1 an exit. A full stack drops the entry; an exit leaves all functions down to its
  /// own, so that what a raise has cut off is cleaned out.
  void save(const char* tag, const char* function, int type, long parameter);
  void print() const;           ///< oldest first
  void printStackDump() const;  ///< top first
  /// The function that lies `depth` below the top of the stack; 0 when there is none.
  int getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const;

 private:
  void printRange(std::size_t from, std::size_t to) const ZOV_REQUIRES(_mutex);

  mutable zov::Mutex _mutex;
  std::vector<ZOVInternalTraceEntry> _ring ZOV_GUARDED_BY(_mutex);
  std::size_t _cursor ZOV_GUARDED_BY(_mutex) = 0;
  bool _wrapped ZOV_GUARDED_BY(_mutex) = false;
  std::vector<ZOVStackTraceEntry> _stack ZOV_GUARDED_BY(_mutex);
  std::size_t _depth ZOV_GUARDED_BY(_mutex) = 0;
};

#pragma once
// zov::ServerSettings: what the configuration says of one server, checked. The face reads it in init, before
// the server is shared. Afterwards only the live settings are replaced, while any thread reads them. Without
// a configuration the values below hold.

#include <atomic>

#include "foundation/string.h"

class ZOVAgentConfigParms;
class ZOVAppServerConfigParms;

namespace zov {

/// When data of a kind is collected.
enum CollectAction { CollectNothing = 0, CollectOnDemand = 1, CollectByInterval = 2 };

/// A number that one thread may replace while others read it.
template <class T>
class Live {
 public:
  Live(T value) : _value(value) {}  // NOLINT: implicit on purpose
  Live(const Live& other) : _value(other) {}
  Live& operator=(const Live& other) {
    _value.store(other, std::memory_order_relaxed);
    return *this;
  }
  operator T() const { return _value.load(std::memory_order_relaxed); }  // NOLINT: likewise

 private:
  std::atomic<T> _value;
};

struct LiveSettings {
  Live<int> requestCollectAction = CollectNothing;
  Live<int> requestCollectAgeMax = 0;  ///< seconds for which samples of requests answer further queries
  Live<int> pollInterval = 0;          ///< seconds between polls; 0 is on demand only
  Live<int> workloadCollectLevel = 0;
  Live<int> workloadCapturePercent = 0;
  Live<int> gcCollectAction = 0;     ///< 0 off, 1 on
  Live<int> gcCollectInterval = 60;  ///< seconds

  Live<int> resourceCollectAction = CollectNothing;
  Live<int> resourceCollectAgeMax = 0;  ///< seconds for which statistics answer further queries
  Live<int> resourcePollFrequency = 0;  ///< seconds between collections; 0 means no statistics thread
  Live<bool> resourceCollectEnabled = true;
};

struct ServerSettings : LiveSettings {
  unsigned int historicalCollection = 0;  ///< the bits of config/historical_collection.h
  int retainHistory = 3600;               ///< seconds that an anchor which no longer reports is kept

  int logScanInterval = 60;         ///< seconds
  int retainLogFileEvents = 10;     ///< at most so many
  RWCString logFormat;              ///< as zov::LogFormat::make takes it
  long socketReceiveTimeout = 300;  ///< seconds

  /// A value outside of its range is told by its message, and its default holds. Both may be null.
  static ServerSettings read(const ZOVAppServerConfigParms* parms, const ZOVAgentConfigParms* agent,
                             const RWCString& serverName);
};

}  // namespace zov

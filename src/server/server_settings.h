#pragma once
// zov::ServerSettings: what the configuration says of one server, checked. The face reads it in init, before
// the server is shared; it does not change afterwards. Without a configuration the values below hold.

#include "foundation/string.h"

class ZOVAgentConfigParms;
class ZOVAppServerConfigParms;

namespace zov {

/// When data of a kind is collected.
enum CollectAction { CollectNothing = 0, CollectOnDemand = 1, CollectByInterval = 2 };

struct ServerSettings {
  unsigned int historicalCollection = 0;  ///< the bits of config/historical_collection.h
  int retainHistory = 3600;               ///< seconds that an anchor which no longer reports is kept

  int requestCollectAction = CollectNothing;
  int requestCollectAgeMax = 0;  ///< seconds for which samples of requests answer further queries
  int pollInterval = 0;          ///< seconds between polls; 0 is on demand only
  int workloadCollectLevel = 0;
  int workloadCapturePercent = 0;
  int gcCollectAction = 0;     ///< 0 off, 1 on
  int gcCollectInterval = 60;  ///< seconds

  int resourceCollectAction = CollectNothing;
  int resourceCollectAgeMax = 0;  ///< seconds for which statistics answer further queries
  int resourcePollFrequency = 0;  ///< seconds between collections; 0 means no statistics thread
  bool resourceCollectEnabled = true;

  int logScanInterval = 60;         ///< seconds
  int retainLogFileEvents = 10;     ///< at most so many
  RWCString logFormat;              ///< as zov::LogFormat::make takes it
  long socketReceiveTimeout = 300;  ///< seconds

  /// A value outside of its range is told by its message, and its default holds. Both may be null.
  static ServerSettings read(const ZOVAppServerConfigParms* parms, const ZOVAgentConfigParms* agent,
                             const RWCString& serverName);
};

}  // namespace zov

#pragma once
// ZOVLogFileCollector: the one task that scans all log files, each when its interval is over, and the first
// time at once.
//
// Files come and go on any thread; none of them is owned here, and each holds the collector until it is gone.
// "LogFileCollector" guards the list, and is not held during a scan: an insertion waits for nothing, and a
// removal only for a scan of that very file. A scan that fails costs that scan only.

#include "foundation/collections.h"
#include "runtime/task.h"

class ZOVLogFile;

class ZOVLogFileCollector final : public ZOVAsynchronousTask {
 public:
  /// Looks every `waitSeconds` while no file is there.
  explicit ZOVLogFileCollector(int waitSeconds)
      : ZOVAsynchronousTask("LogFileCollectorTask"), _waitSeconds(waitSeconds) {}
  ~ZOVLogFileCollector() override { shutdown(); }

  void insert(ZOVLogFile* file);
  /// When it returns, the file is not scanned any more.
  void remove(ZOVLogFile* file);
  void backgroundProcessing() override;
  /// Cuts a scan that is under way short.
  void shutdown() override;
  /// Scans the files that are due. Answers the seconds until the next one is, at least 1.
  long scan();

 private:
  ZOVLogFile* takeDue();
  void giveBack();

  ZOVLock _filesLock{"LogFileCollector"};
  RWOrdered _files ZOV_GUARDED_BY(_filesLock);
  ZOVLogFile* _scanned ZOV_GUARDED_BY(_filesLock) = nullptr;  // the file that is being scanned
  ZOVEvent _scanDone;                                         // posted when a removal waits for that
  bool _removalWaits ZOV_GUARDED_BY(_filesLock) = false;
  const int _waitSeconds;
};

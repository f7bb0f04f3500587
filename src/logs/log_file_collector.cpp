#include "logs/log_file_collector.h"

#include <algorithm>

#include "logs/log_file.h"
#include "runtime/recovery.h"
#include "runtime/shutdown_probe.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCLOGC");

void ZOVLogFileCollector::insert(ZOVLogFile* file) {
  ZOV_TRACE(Public);
  {
    const zov::ExclusiveLock lock(_filesLock);
    _files.insert(file);
  }
  _shutdownEvent.post();
}

void ZOVLogFileCollector::remove(ZOVLogFile* file) {
  ZOV_TRACE(Public);
  bool isScanned = false;
  {
    const zov::ExclusiveLock lock(_filesLock);
    _files.remove(file);
    isScanned = _scanned == file;
    if (isScanned) _removalWaits = true;
  }
  if (isScanned) _scanDone.wait();
}

void ZOVLogFileCollector::shutdown() {
  ZOV_TRACE(Public);
  {
    const zov::ExclusiveLock lock(_filesLock);
    for (std::size_t i = 0; i < _files.entries(); ++i) static_cast<ZOVLogFile*>(_files.at(i))->stopReading();
  }
  ZOVAsynchronousTask::shutdown();
}

void ZOVLogFileCollector::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  while (!isShutdownRequested() && !::isShutdownRequested()) _shutdownEvent.waitWithTimeout(scan());
}

long ZOVLogFileCollector::scan() {
  ZOV_TRACE(Private);
  while (ZOVLogFile* file = isShutdownRequested() ? nullptr : takeDue()) {
    guarded(ZOV_PLACE, [file] { file->read(); });
    giveBack();
  }
  const zov::SharedLock lock(_filesLock);
  std::int64_t next = _waitSeconds;
  for (std::size_t i = 0; i < _files.entries(); ++i) {
    next = std::min(next, static_cast<ZOVLogFile*>(_files.at(i))->secondsUntilDue());
  }
  return std::max<long>(next, 1);
}

/// A file that is due, which is being scanned from now on; null when there is none.
ZOVLogFile* ZOVLogFileCollector::takeDue() {
  const zov::ExclusiveLock lock(_filesLock);
  for (std::size_t i = 0; i < _files.entries(); ++i) {
    auto* file = static_cast<ZOVLogFile*>(_files.at(i));
    if (file->secondsUntilDue() < 1) return _scanned = file;
  }
  return nullptr;
}

void ZOVLogFileCollector::giveBack() {
  const zov::ExclusiveLock lock(_filesLock);
  _scanned = nullptr;
  if (_removalWaits) _scanDone.post();
  _removalWaits = false;
}

#pragma once
// ZOVThreadManager: runs a set of threads under a limit of how many run at once. Threads beyond the limit
// wait, and a failed start lowers the limit to what the system will bear. Any thread may call. The mutex
// is taken before a thread's state mutex, and is never held across a kill. The destructor
// kills what runs and deletes the threads that have completed or still wait.

#include <atomic>
#include <vector>

#include "runtime/event.h"
#include "runtime/mutex.h"

class ZOVDiagnosticServices;
class ZOVThread;

class ZOVThreadManager : public ZOVMemoryManager {
 public:
  static constexpr int DefaultMaximum = 20;

  /// `log` may be null. A maximum of 0 takes the process's default: ZOV_MAX_TM_THREADS, or 20 when that is
  /// unset or below 1; read once.
  ZOVThreadManager(ZOVDiagnosticServices* log, int maximum);
  ~ZOVThreadManager() override;
  ZOVThreadManager(const ZOVThreadManager&) = delete;
  ZOVThreadManager& operator=(const ZOVThreadManager&) = delete;

  /// Starts the thread, or lets it wait. The thread is the manager's from here on.
  void executeNewThread(ZOVThread& thread);
  void waitForAllThreads();
  /// Called by a managed thread's end, or its kill.
  void ThreadIsDone(ZOVThread& thread);
  void killAllThreads();
  void logStartFailure(const char* function, int error) const;
  int getMaximum() const {
    const zov::RecursiveLock lock(_mutex);
    return _maximum;
  }
  bool isValid() const { return _valid; }

  /// The limit that a setting gives: a decimal number, or 20 when it is null, empty or below 1.
  static int maximumFrom(const char* setting);

 private:
  using Threads = std::vector<ZOVThread*>;
  bool startOrQueue(ZOVThread& thread) ZOV_REQUIRES(_mutex);  // false when nothing runs at all
  ZOVThread* lastOf(Threads ZOVThreadManager::*threads) const;
  static bool take(Threads& threads, ZOVThread* thread);

  ZOVDiagnosticServices* _log;
  ZOVEvent _allDone;
  mutable ZOVMutex _mutex;
  int _maximum ZOV_GUARDED_BY(_mutex);
  std::atomic<bool> _valid;
  Threads _completed ZOV_GUARDED_BY(_mutex);
  Threads _running ZOV_GUARDED_BY(_mutex);
  Threads _waiting ZOV_GUARDED_BY(_mutex);
};

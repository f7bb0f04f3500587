#pragma once
// ZOVAgentEnvironment: the process-wide environment through which recovery, threads, log and trace are
// reached. One object exists per process (ZOVAgent; in tests a small stand-in). pEnvironment is null outside
// its life, and every user tests it.
//
// The rooms above are named by forward declaration only; what the runtime itself needs of them it calls
// through ZOVDiagnosticServices, which the environment owns.

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "foundation/error_handler.h"
#include "foundation/string.h"
#include "foundation/time.h"
#include "platform/trace.h"
#include "runtime/thread_table.h"

class ZOV_Agent_Log;
class ZOV_Agent_Log_Messages;
class ZOVProductEventCollector;
class ZOVException;
class ZOVRecoverableThread;
class ZOVReturnCode;
class ZOVThreadRecoveryEnvironmentElement;

enum _ZOVInternalTraceType { TraceEntry = 0, TraceExit = 1 };

/// The log, the catalogue and the product events, as the runtime needs them. Built by the environment's
/// creator, destroyed by the environment. Any thread may call.
class ZOVDiagnosticServices {
 public:
  virtual ~ZOVDiagnosticServices() = default;
  /// Issues a numbered message as an error. Text arguments must be UTF-8.
  virtual void logError(const char* file, const char* function, int line, int message,
                        std::span<const DGT1_Arg> arguments) = 0;
  /// A text by key from the catalogue, or from `table`, into both buffers; both empty on failure.
  virtual void retrieveString(char* result, char* localResult, int size, const char* const* table,
                              const char* prefix, int number) = 0;
  virtual void open() = 0;           ///< opens the catalogue
  virtual void printMessages() = 0;  ///< traces all messages
  virtual RWCString fromLocal(const char* localText) = 0;
  virtual ZOV_Agent_Log& log() = 0;
  virtual ZOV_Agent_Log_Messages& messages() = 0;
  virtual ZOVProductEventCollector& productEvents() = 0;
};

class ZOVAgentEnvironment {
 public:
  static std::atomic<ZOVAgentEnvironment*> pEnvironment;

  /// In order: members; pEnvironment; the catalogue opened; recovery enabled; ZOVLock::init; the foundation's
  /// error handler.
  explicit ZOVAgentEnvironment(std::unique_ptr<ZOVDiagnosticServices> services);
  /// Clears pEnvironment first of all.
  virtual ~ZOVAgentEnvironment();
  ZOVAgentEnvironment(const ZOVAgentEnvironment&) = delete;
  ZOVAgentEnvironment& operator=(const ZOVAgentEnvironment&) = delete;

  virtual void removeThread(ZOVRecoverableThread* thread);
  virtual ZOVRecoverableThread* findThread() const;    ///< the calling thread's object, or null
  virtual ZOVRecoverableThread* createThread() const;  ///< for a thread that is adopted
  virtual void displayException(const char* tag, const char* function) const;
  virtual ZOVThreadRecoveryEnvironmentElement* getCurrentRecoveryElement() const;
  virtual void saveTraceEntry(const char* tag, const char* function, _ZOVInternalTraceType type,
                              long parameter);
  /// Makes the thread known. It stays the caller's, and is not deleted when its outermost frame ends. Takes
  /// the slot that its start has reserved.
  virtual void registerThread(ZOVRecoverableThread* thread);
  virtual void deregisterThread(ZOVRecoverableThread* thread);
  virtual ZOVRecoverableThread* findThread(const unsigned long* id) const;
  virtual void diagDump() const;
  /// Answers 1 and does nothing: no exception ends the process.
  virtual int startQuiesce(const ZOVReturnCode& code);
  virtual int getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const;

  static int isErrorRecoveryEnabled();
  /// False when the thread is not known and the table has no slot for it.
  static bool setRecoveryEnvironment(const char* tag, const char* function);
  static int deleteRecoveryEnvironment();  ///< 0 when there is no environment
  static ZOVRecoverableThread* getActiveThread();

  std::uint32_t getInternalTraceMask() const { return _internalTraceMask; }
  int getInternalTraceTableSize() const { return _internalTraceTableSize; }
  ZOV_Agent_Log& log() { return _services->log(); }
  ZOV_Agent_Log_Messages& messages() { return _services->messages(); }
  ZOVProductEventCollector& productEventCollector() { return _services->productEvents(); }
  ZOVDiagnosticServices& services() { return *_services; }
  RWTime getStartTime() const { return _startTime; }
  ZOVThreadTable& threadTable() { return *_threadTable; }

 protected:
  /// Sets the mask and, when it is not 0, a table of 200 entries for each new thread.
  void setInternalTrace(std::uint32_t mask);

 private:
  void logExceptionMessage(ZOVException& exception, const char* tag, const char* function) const;

  std::atomic<std::uint32_t> _internalTraceMask{0};
  std::atomic<int> _internalTraceTableSize{0};
  std::atomic<int> _errorRecoveryEnabled{0};
  std::unique_ptr<ZOVDiagnosticServices> _services;
  RWTime _startTime;
  std::unique_ptr<ZOVThreadTable> _threadTable;
};

/// The foundation's error path: raises code 1, recoverable, where a recovery environment stands.
void ZOVRWErrorHandler(const RWxmsg& message);
/// Traces the active thread's internal trace and a dump. Nothing installs it.
void ZOVTerminateHandler();

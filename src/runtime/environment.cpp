#include "runtime/environment.h"

#include "runtime/lock.h"
#include "runtime/memory_manager.h"
#include "runtime/message_numbers.h"
#include "runtime/recoverable_thread.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"

// What runs below the function preamble (findThread, saveTraceEntry) carries none itself.
static DGT1_Unit traceUnit("ZOVCENVR");

std::atomic<ZOVAgentEnvironment*> ZOVAgentEnvironment::pEnvironment{nullptr};

namespace {
constexpr int TraceEntriesPerThread = 200;
constexpr std::uint32_t AllTraceLevels = 0x1E00;

// True while the thread makes a dump.
constinit thread_local bool dumping = false;
struct Dumping {
  Dumping() { dumping = true; }
  ~Dumping() { dumping = false; }
  Dumping(const Dumping&) = delete;
  Dumping& operator=(const Dumping&) = delete;
};

int messageFor(ZOVException::_Severity severity) {
  if (severity == ZOVException::Warning) return ZOVA0055W;
  return severity == ZOVException::Informational ? ZOVA0056I : ZOVA0002E;
}
}  // namespace

ZOVAgentEnvironment::ZOVAgentEnvironment(std::unique_ptr<ZOVDiagnosticServices> services)
    : _services(std::move(services)),
      _startTime(RWTime::currentTime()),
      _threadTable(std::make_unique<ZOVThreadTable>()) {
  ZOVLock::init();
  pEnvironment = this;
  _services->open();
  if (traceUnit.on(DGT1_ERROR)) {
    _services->printMessages();
    ZOVReturnCode::print();
  }
  _errorRecoveryEnabled = 1;
  rwSetErrHandler(ZOVRWErrorHandler);
}

ZOVAgentEnvironment::~ZOVAgentEnvironment() {
  pEnvironment = nullptr;
  DGT1_PreambleMask.fetch_and(~AllTraceLevels);
  _threadTable.reset();
}

void ZOVAgentEnvironment::setInternalTrace(std::uint32_t mask) {
  _internalTraceMask = mask;
  if (mask == 0) return;
  _internalTraceTableSize = TraceEntriesPerThread;
  DGT1_PreambleMask.fetch_or(mask & AllTraceLevels);
}

void ZOVAgentEnvironment::removeThread(ZOVRecoverableThread* thread) {
  deregisterThread(thread);
  delete thread;
}

ZOVRecoverableThread* ZOVAgentEnvironment::findThread() const {
  return _threadTable->findCurrentThread();
}

ZOVRecoverableThread* ZOVAgentEnvironment::findThread(const unsigned long* id) const {
  return _threadTable->findThread(id);
}

ZOVRecoverableThread* ZOVAgentEnvironment::createThread() const {
  return new ZOVRecoverableThread;
}

void ZOVAgentEnvironment::registerThread(ZOVRecoverableThread* thread) {
  _threadTable->insertReserved(thread);
  thread->setRegistered(true);
  if (thread->isThisCurrentThread()) zovOwnHeldLocks.attach(*thread);
}

void ZOVAgentEnvironment::deregisterThread(ZOVRecoverableThread* thread) {
  thread->freeAllLocks();
  // A dump holds the same two while it shows a thread.
  const zov::RecursiveLock locks(*ZOVLock::pLockMutex);
  _threadTable->lock();
  thread->prepareToDelete();
  _threadTable->remove(thread);
  thread->detach();
  thread->setRegistered(false);
  _threadTable->release();
}

ZOVThreadRecoveryEnvironmentElement* ZOVAgentEnvironment::getCurrentRecoveryElement() const {
  const ZOVRecoverableThread* thread = findThread();
  return thread != nullptr ? thread->getCurrentRecoveryElement() : nullptr;
}

void ZOVAgentEnvironment::displayException(const char* tag, const char* function) const {
  ZOVThreadRecoveryEnvironmentElement* element = getCurrentRecoveryElement();
  if (element != nullptr) {
    ZOVException& exception = element->getException();
    if (exception.isLogged() || exception.getShouldDisplay() == ZOVException::DoNotDisplay) return;
    logExceptionMessage(exception, tag, function);
    if (exception.getDumpOption() == ZOVException::NoDump) return;
  }
  const ZOVRecoverableThread* thread = findThread();
  if (_internalTraceMask != 0 && thread != nullptr) thread->printInternalTrace();
  diagDump();
}

void ZOVAgentEnvironment::logExceptionMessage(ZOVException& exception, const char* tag,
                                              const char* function) const {
  ZOV_FUNCTION;
  const RWCString tagText = _services->fromLocal(tag);
  const RWCString functionText = _services->fromLocal(function);
  const DGT1_Arg arguments[] = {exception.getExceptionType(), tagText.data(), functionText.data()};
  _services->logError(ZOV_PLACE, __LINE__, messageFor(exception.getSeverity()), arguments);
  if (exception.getDumpOption() != ZOVException::NoDump) exception.setLogged();
}

void ZOVAgentEnvironment::saveTraceEntry(const char* tag, const char* function, _ZOVInternalTraceType type,
                                         long parameter) {
  if (ZOVRecoverableThread* thread = findThread()) thread->saveTraceEntry(tag, function, type, parameter);
}

void ZOVAgentEnvironment::diagDump() const {
  ZOV_FUNCTION;
  if (dumping) return;  // the dump has failed, and its failure is being told
  const Dumping now;
  guarded(ZOV_PLACE, [this] {
    ZOVMemoryManager::displayMemoryUse();
    DGT1_Printf(traceUnit, DGT1_ERROR, "Dump of all registered threads follows");
    _threadTable->diagDump();
  });
}

int ZOVAgentEnvironment::startQuiesce(const ZOVReturnCode&) {
  return 1;
}

int ZOVAgentEnvironment::getSourceFileAndFunctionName(RWCString& tag, RWCString& function, int depth) const {
  const ZOVRecoverableThread* thread = findThread();
  return thread != nullptr ? thread->getSourceFileAndFunctionName(tag, function, depth) : 0;
}

int ZOVAgentEnvironment::isErrorRecoveryEnabled() {
  const ZOVAgentEnvironment* environment = pEnvironment.load();
  return environment != nullptr ? environment->_errorRecoveryEnabled.load() : 0;
}

bool ZOVAgentEnvironment::setRecoveryEnvironment(const char* tag, const char* function) {
  ZOVAgentEnvironment* environment = pEnvironment.load();
  if (environment == nullptr) return true;
  ZOVRecoverableThread* thread = environment->findThread();
  if (thread == nullptr) {
    thread = environment->createThread();
    thread->setState(ZOVThread::Running);
    if (!environment->_threadTable->insert(thread)) {
      delete thread;
      return false;
    }
    zovOwnHeldLocks.attach(*thread);
  }
  thread->pushRecoveryEnvironment(tag, function);
  return true;
}

int ZOVAgentEnvironment::deleteRecoveryEnvironment() {
  ZOVAgentEnvironment* environment = pEnvironment.load();
  if (environment == nullptr) return 0;
  if (ZOVRecoverableThread* thread = environment->findThread()) {
    thread->popRecoveryEnvironment();
    if (thread->canBeDeleted()) environment->removeThread(thread);
  }
  return 1;
}

ZOVRecoverableThread* ZOVAgentEnvironment::getActiveThread() {
  const ZOVAgentEnvironment* environment = pEnvironment.load(std::memory_order_acquire);
  return environment != nullptr ? environment->findThread() : nullptr;
}

void ZOVRWErrorHandler(const RWxmsg& message) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Error of the foundation: %s", message.text);
  zovRaise(ZOVException::recoverable(ZOV_FOUNDATION_STORAGE));
}

void ZOVTerminateHandler() {
  DGT1_Printf(traceUnit, DGT1_ERROR, "ZOV Termination Handler entered");
  const ZOVAgentEnvironment* environment = ZOVAgentEnvironment::pEnvironment.load();
  if (environment == nullptr) return;
  const ZOVRecoverableThread* thread = environment->findThread();
  if (environment->getInternalTraceMask() != 0 && thread != nullptr) thread->printInternalTrace();
  if (ZOVAgentEnvironment::isErrorRecoveryEnabled()) environment->diagDump();
}

#include "platform/frames.h"

#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

struct XFR1_Frame {
  sigjmp_buf jump;
  XFR1_Block* block;
  XFR1_Frame* previous;

  explicit XFR1_Frame(XFR1_Block* owner) : block(owner), previous(owner->current) { owner->current = this; }
  ~XFR1_Frame() { block->current = previous; }
  XFR1_Frame(const XFR1_Frame&) = delete;
  XFR1_Frame& operator=(const XFR1_Frame&) = delete;
};

namespace {

// Zero-initialised, so that a signal handler reaches it without a first-use initialisation.
constinit thread_local XFR1_Block threadBlock;

/// The stack on which the fault handler of one thread runs, so that a stack overflow too can be handled. A
/// stack that somebody else has installed is left in place.
class AlternateStack {
 public:
  AlternateStack() {
    stack_t present{};
    if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) return;
    _size = std::max<std::size_t>(64 * 1024, static_cast<std::size_t>(sysconf(_SC_SIGSTKSZ)));
    void* memory =
        mmap(nullptr, _size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (memory == MAP_FAILED) return;
    _memory = memory;
    const stack_t own{.ss_sp = memory, .ss_flags = 0, .ss_size = _size};
    sigaltstack(&own, nullptr);
  }
  ~AlternateStack() {
    if (!_memory) return;
    const stack_t none{.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
    sigaltstack(&none, nullptr);
    munmap(_memory, _size);
  }
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;
  void use() const {}

 private:
  void* _memory = nullptr;
  std::size_t _size = 0;
};

thread_local AlternateStack alternateStack;

/// True for a signal that another process has sent, which is no fault of this thread.
bool sentFromOutside(const siginfo_t* info) {
  return info->si_code <= 0 && info->si_pid != getpid();
}

void onFault(int signal, siginfo_t* info, void* context) {
  if (threadBlock.current == nullptr || sentFromOutside(info)) {
    ::signal(signal, SIG_DFL);
    // A fault comes again when the instruction is repeated; a signal that was sent does not.
    if (info->si_code <= 0) raise(signal);
    return;
  }
  // The handler is left by a jump: the mask that a return would have restored is restored here.
  pthread_sigmask(SIG_SETMASK, &static_cast<const ucontext_t*>(context)->uc_sigmask, nullptr);
  XFR1__Raise(&threadBlock, static_cast<unsigned long>(signal));
}

}  // namespace

// Not inlined: the jump comes back into this function's own frame, and nothing here changes after the mark.
[[gnu::noinline]] XFR1_Outcome XFR1_Run(void (*body)(void*), void* context) {
  alternateStack.use();
  XFR1_Frame frame(&threadBlock);
  if (sigsetjmp(frame.jump, 0) != 0) return {true, frame.block->raiseCode};
  body(context);
  return {false, 0};
}

XFR1_Block* XFR1_Thread() {
  return &threadBlock;
}

void XFR1__Raise(XFR1_Block* block, unsigned long code) {
  if (block->current == nullptr) std::abort();
  block->raiseCode = code;
  siglongjmp(block->current->jump, 1);
}

void XFR1_InstallFaultHandlers() {
  struct sigaction action {};
  action.sa_sigaction = onFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigaction(signal, &action, nullptr);
}

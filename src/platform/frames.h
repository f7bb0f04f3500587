#pragma once
// Frames: the one place where sigsetjmp and siglongjmp stand. A frame is pushed by XFR1_Run around a body; a
// raise cuts the stack back to the innermost frame of its own thread, and runs no destructors on the way.
// Hardware faults (SIGSEGV, SIGBUS, SIGFPE, SIGILL) arrive at the innermost frame as a raise whose code is
// the signal number, from a handler on the thread's own alternate stack. In a thread with no frame the
// default action of the signal stands.
//
// Everything here is per thread and takes no lock. C++ exceptions and a thread's cancellation pass through a
// frame unharmed: the frame is popped.

/// The calling thread's frame block.
struct XFR1_Block {
  struct XFR1_Frame* current = nullptr;  ///< innermost frame; null when none stands
  unsigned long raiseCode = 0;           ///< code of the last raise in this thread
};

/// How a body ended.
struct XFR1_Outcome {
  bool raised;              ///< false: the body returned
  unsigned long raiseCode;  ///< when raised: 0 for a software raise, else the signal
};

/// Runs body(context) inside a frame.
XFR1_Outcome XFR1_Run(void (*body)(void*), void* context);

XFR1_Block* XFR1_Thread();

/// Transfers control to the innermost frame. Precondition: one stands (aborts otherwise).
[[noreturn]] void XFR1__Raise(XFR1_Block* block, unsigned long code);

/// Installs the process's fault handlers; repeated calls are harmless. main calls it first.
void XFR1_InstallFaultHandlers();

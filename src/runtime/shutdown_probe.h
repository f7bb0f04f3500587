#pragma once
// The shutdown probe, which the loops of the long-lived tasks ask at every turn. A pipe is made at start, and
// closing its read end is the signal. The pipe is held in reserve: as set up the probe always answers 0, and
// the tasks end by the shutdown flag of their own.
//
// initShutdownRequested runs before the tasks that ask.

void initShutdownRequested();
/// Closes the pipe's read end; nothing when there is no pipe. Answers 0.
int execShutdownRequested();
int isShutdownRequested();
/// -1 when the descriptor is not open, 1 when it can be read or its peer has closed, else 0. Does not wait.
int isready(int fd);

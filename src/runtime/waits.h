#pragma once
// The waits of the agent's own threads, with the required defaults. Read by any thread, and changed only
// before threads start: by main through zovReadWaits(), and by tests. The time limits of sockets and of the
// HTTP interface stand with these.

struct ZOVWaits {
  long contextStartDelaySeconds = 5;   ///< context thread, before it reads its file; ZOV_START_DELAY
  long listenerRetrySeconds = 60;      ///< a port that cannot be opened
  long listenerAcceptSeconds = 60;     ///< one wait for a new connection
  long firstFrameSeconds = 30;         ///< a new connection, until its first frame is whole
  long acceptPauseSeconds = 1;         ///< behind an accept that failed
  long transferProgressSeconds = 300;  ///< a send, or a frame that has begun, without a byte
  long hurriedProgressSeconds = 10;    ///< an exchange without a byte, while another collector waits
  long testConnectivitySeconds = 60;   ///< answer to a test ping
  long quietCollectorSeconds = 60;     ///< a collector of which nothing is wanted, before a test ping
  long disconnectedSeconds = 600;      ///< a server's threads, behind the end of its last session
  long enumerateServersSeconds = 120;  ///< between askings of the statistics for their servers
  long pingServersSeconds = 60;        ///< between askings which of them live
  long refreshNamesSeconds = 300;      ///< between looks for new names of resources
  long remoteContactSeconds = 300;     ///< for a statistics process to call back
  long statisticsReadSeconds = 1;      ///< one wait for a frame from a statistics process
  long statisticsQuerySeconds = 20;    ///< for statistics that a query waits for
  long houseKeepingSeconds = 900;      ///< between sweeps of old anchors
  long threadStopSeconds = 20;         ///< a server's destructor, for each thread
  long threadTableSeconds = 3;         ///< the thread table's destructor
  long killedThreadSeconds = 5;        ///< a thread's destructor, for the unwinding of a killed thread
  long lockWarningSeconds = 30;        ///< a lock wait, before it is traced
};

ZOVWaits& zovWaits();

/// Takes the start delay from the environment variable ZOV_START_DELAY: whole seconds, 0 to 60. Any other
/// value is traced, and leaves the delay as it is.
void zovReadWaits();

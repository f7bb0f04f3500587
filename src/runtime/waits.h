#pragma once
// Every long wait of the agent, in one place, with the required defaults. Tests change them through
// zovWaits() before they start threads; the agent never does.

struct ZOVWaits {
  long contextStartDelaySeconds = 5;  ///< context thread, before it reads its file
  long listenerRetrySeconds = 60;     ///< a port that cannot be opened
  long listenerAcceptSeconds = 60;    ///< one wait for a new connection
  long testConnectivitySeconds = 60;  ///< answer to a test ping
  long quietCollectorSeconds = 60;    ///< on-demand servers: quiet time before a test ping
  long houseKeepingSeconds = 900;     ///< between sweeps of old anchors
  long threadStopSeconds = 20;        ///< a server's destructor, for each thread
  long threadTableSeconds = 3;        ///< the thread table's destructor
  long killedThreadSeconds = 5;       ///< a thread's destructor, for the unwinding of a killed thread
  long contextShutdownSeconds = 5;    ///< the context's shutdown, for its thread
  long lockWarningSeconds = 30;       ///< a lock wait, before it is traced
  long enumerateServersSeconds = 120;
  long pingServersSeconds = 60;
  long refreshNameCacheSeconds = 300;
};

ZOVWaits& zovWaits();

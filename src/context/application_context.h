#pragma once
// ZOVApplicationContext: the application servers that the agent knows, and its memory of them across
// restarts. Every server is a line of the context file (<prefix>zovapctx), so that after a restart the agent
// knows its servers and their subnode names before any collector has connected. docs/configuration.md shows
// the file.
//
// Ownership: the list holds each server by shared_ptr; whoever works with one outside the lock holds a
// shared_ptr too. A server that leaves the list has its threads stopped here, for good and with no lock held,
// so whoever lets go of it last only frees it.
//
// The background thread reads the file behind the start delay, with the context lock held exclusively, so
// that nobody sees a list that is half built. Until then the list is empty: a query is told so at once, and
// who brings a server waits for the file, which may know it. After that no background thread needs the lock
// exclusively: others may hold it shared while they wait.
//
// Locks: the context lock guards the list, and is the first of all. The file's own mutex, taken inside it,
// orders the writers of the file. The file is replaced by a rename: a crash leaves the old one or the new
// one. A file that is there and cannot be read whole is never replaced: it is told of, and stays.

#include <cstdio>
#include <memory>
#include <vector>

#include "foundation/string.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/mutex.h"
#include "runtime/recovery.h"
#include "runtime/task.h"

class ZOVApplicationServer;

class ZOVApplicationContext : public ZOVAsynchronousTask {
 public:
  using Server = std::shared_ptr<ZOVApplicationServer>;
  static constexpr std::size_t MaximumLineLength = 2047;  ///< bytes; what is longer is read in pieces

  explicit ZOVApplicationContext(const char* prefix);
  ~ZOVApplicationContext() override;

  void start();  ///< lets the thread begin to read, after its delay
  /// Tells the thread to end, and does not wait; who waits until the file has been read is woken. For a stop
  /// that has to end others first who may be waiting so.
  void interrupt();
  void backgroundProcessing() override;
  /// Ends the thread, also in its start delay, stops the threads of all servers and lets go of them. The file
  /// stays.
  void shutdown() override;

  /// Waits until the file has been read, or will not be. With no lock held; not on the context's own thread.
  void waitUntilRead();
  int lock(_LockRequestType type, _WaitRequestType wait) { return _lock.get(type, wait); }
  void release(_LockRequestType type) { _lock.release(type); }
  /// The servers of now, in their order. Takes the lock shared.
  std::vector<Server> getAppServers();
  /// Calls visitor(const Server&) for each server with the lock held shared, until one answers true.
  template <class Visitor>
  void forEachAppServer(Visitor&& visitor) {
    holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) {
      for (const Server& server : _appServers) {
        if (visitor(server)) return;
      }
    });
  }

  /// Waits until the file has been read, appends the server and announces it; with writeFile the file is
  /// written too. Answers 0.
  int defineNewAppServer(const Server& server, bool writeFile);
  /// Compares exactly; null when there is none.
  Server findAppServer(const RWCString& name, const RWCString& root);
  /// Ignores case; null when there is none.
  Server findAppServerMatchingSubnode(const char* subnode);
  /// Compares exactly: 1 when no server has this subnode name.
  int isSubNodeNameUnique(const char* subnode);
  /// Deregisters the server's subnode, forgets it and stops its threads; what deRegisterSubNode refuses
  /// stays. 7 for null. With no lock held that the threads could want.
  unsigned int deleteAppServerContext(const Server& server);
  /// Writes the file again. Takes the lock shared, so with none of a server's locks held.
  void rewriteContextInfo();
  /// The value with blanks for what would end a field, a line or the text of one: Tab, CR, LF and NUL. Names
  /// and roots are kept so from the first, and values written and read so: what was written is what is read.
  static RWCString cleaned(std::string_view value);
  /// The server that a line describes, or null with the reason in `rc` (7: no name). Unknown keys are
  /// skipped, and of a key that is repeated the last one counts. The first "=" of a field splits it. Values
  /// are cleaned.
  static Server createAppServerFromContextRecord(const char* record, ZOVReturnCode& rc);
  /// The server's line without its end, its values cleaned.
  static RWCString writeContextRecord(const ZOVApplicationServer& server);
  const RWCString& getContextFilePath() const { return _contextFilePath; }

 private:
  static void stopThreadsOf(const std::vector<Server>& servers);
  /// Only a file that does not exist counts as none.
  void readContextFile() ZOV_REQUIRES(_lock);
  bool waitForStart();  // false when told to end
  void readRecords(std::FILE* file) ZOV_REQUIRES(_lock);
  void readRecord(char* line) ZOV_REQUIRES(_lock);
  int writeContextFile() ZOV_REQUIRES_SHARED(_lock);
  RWCString makeContextText() const ZOV_REQUIRES_SHARED(_lock);

  ZOVLock _lock{"ApplicationContext"};
  ZOVEvent _startEvent;  // posted by start and by shutdown
  ZOVEvent _readEvent;   // posted from when the file has been read, or will not be
  std::vector<Server> _appServers ZOV_GUARDED_BY(_lock);
  bool _whole ZOV_GUARDED_BY(_lock) = false;  // the list has all of the file's servers: it may be written
  RWCString _contextFilePath;
  ZOVMutex _contextFileMutex;
};

/// Ends the text at its first carriage return ('R'), line feed ('F') or both ('B') when that stands less than
/// three places from the end, and makes it a blank when not.
void removeCRandLF(char* text, char which);

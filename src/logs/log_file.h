#pragma once
// ZOVLogFile: follows one log of a server, makes an event of each record that is written to it, pushes it to
// the framework, and retains the latest for queries (the queue that it is). The records' form is a
// zov::LogFormat.
//
// A scan (read) takes up where the one before it stopped, and begins with the last 4,000 bytes of the file
// that is found first. The file stays open between scans, so that one that is renamed is read to its end
// before the new one of its name, which is read from its start; it is left when the new one has its first
// byte. A file that has shrunk is read from its start again. A last record that is not whole yet (its last
// line has no end) waits for one scan in which the file does not grow.
//
// A record is cut, at a character, at 64 KiB, to which its lines are gathered; that is the memory that a file
// takes, beside what it retains. A line that parses takes no storage.
//
// A log's name comes from a peer. Only a regular file is read, opened without waiting for anybody, and only
// when the user whom the server belongs to could read it. What cannot be read is told by message ZOVA0030E
// once, until it can be, and traced at each scan.
//
// Threads: the collector's calls read. Queries use the queue, which has its own lock; what else there is
// belongs to that one thread. stopReading may be called by any.

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "collectors/event_queue.h"
#include "collectors/log_event_sample.h"
#include "logs/log_file_owner.h"
#include "logs/log_format.h"
#include "platform/clock.h"
#include "runtime/return_code.h"

class ZOVLogFileCollector;

class ZOVLogFile final : public ZOVCollectable, public zov::EventQueue<ZOVLogEventSample> {
 public:
  static constexpr std::int64_t FirstRead = 4000;          ///< bytes
  static constexpr std::size_t MaximumRecord = 64 * 1024;  ///< bytes
  static constexpr int LastSequenceNumber = 10'000'000;

  /// `fileName` is UTF-8; `scanInterval` in seconds; `format` as LogFormat::make takes it. A file with a
  /// collector is scanned by it from now on to its destruction. `owner` and `collector` may be null: without
  /// an owner the agent's own rights decide.
  ZOVLogFile(const RWCString& fileName, int scanInterval, int maxSamples, const RWCString& format,
             const zov::LogFileOwner* owner, std::shared_ptr<ZOVLogFileCollector> collector);
  /// Waits for a scan that is under way, which it cuts short.
  ~ZOVLogFile() override;

  const RWCString& getFileName() const { return _fileName; }  ///< in the local code page
  /// True when a file of this name, UTF-8, is what is followed.
  bool isNamed(const char* name) const { return osFileName(name) == _fileName; }
  /// Makes a name one of this system: "/" for each "\", and without its first "!".
  static void getOSFileName(RWCString* name);

  /// One scan: 0, or 42 when there is no file of the name that may be read.
  ZOVReturnCode read();
  /// Has a scan that is under way, and every later one, end at once.
  void stopReading() { _stopped = true; }
  /// Seconds until the next scan is due; 0 or less: now. The first one is at once.
  std::int64_t secondsUntilDue() const;

 private:
  /// An open file, or none.
  struct File {
    int descriptor = -1;
    dev_t device = 0;
    ino_t inode = 0;
    bool isOpen() const { return descriptor >= 0; }
    bool is(const struct stat& status) const {
      return isOpen() && device == status.st_dev && inode == status.st_ino;
    }
    void close();
  };
  static RWCString osFileName(const char* name);
  void noteRead();
  void askOwner();
  ZOVReturnCode open();
  ZOVReturnCode openFailed(const RWCString& reason);
  ZOVReturnCode openFailed(int error);
  RWCString refusal(int descriptor, const struct stat& status) const;
  void followNext();
  void readToEnd(bool isLast);
  std::int64_t startOfRead(std::int64_t size);
  /// Takes up the lines from `at` to `size`; true when the last one has no end.
  bool readLines(std::int64_t& at, std::int64_t size);
  void takeLine(std::string_view line, std::int64_t at);
  void endRecord(std::int64_t at);
  void processLine(const std::string& record);
  int getNewLogEventSampleSeqNum();

  const RWCString _nativeFileName, _fileName;
  const int _scanInterval;
  const zov::LogFileOwner* const _owner;
  const std::shared_ptr<ZOVLogFileCollector> _collector;
  const std::unique_ptr<zov::LogFormat> _format;
  std::atomic<bool> _stopped{false};

  File _file;                       // that is followed
  File _next;                       // of the name, when that is another one
  std::int64_t _currPosition = -1;  // where the next scan starts; -1 before the first
  std::int64_t _heldEnd = -1;       // end of the file when its last record was held back
  bool _failureTold = false;
  ZOVClock::Steady _lastRead;
  bool _wasRead = false;

  std::string _fullBuffer;
  std::int64_t _recordStart = 0;
  bool _inRecord = false;
  ZOVLogEventSample _event;  // the record's, filled anew for each
  unsigned int _dcProcessId = 0;
  int _seqNum = -1;
};

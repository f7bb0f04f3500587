#include "logs/log_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "logs/log_access.h"
#include "logs/log_file_collector.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCLOGF");

namespace {
/// At least a record, so that of a line that is longer nothing behind this is wanted. On the thread's stack.
constexpr std::size_t ChunkSize = ZOVLogFile::MaximumRecord;
}  // namespace

ZOVLogFile::ZOVLogFile(const RWCString& fileName, int scanInterval, int maxSamples, const RWCString& format,
                       const zov::LogFileOwner* owner, std::shared_ptr<ZOVLogFileCollector> collector)
    : EventQueue("LogFile", maxSamples, owner ? owner->server() : nullptr),
      _nativeFileName(fileName),
      _fileName(osFileName(fileName.data())),
      _scanInterval(scanInterval),
      _owner(owner),
      _collector(std::move(collector)),
      _format(zov::LogFormat::make(format)) {
  ZOV_TRACE(Public);
  if (_collector) _collector->insert(this);
}

ZOVLogFile::~ZOVLogFile() {
  ZOV_TRACE(Public);
  stopReading();
  if (_collector) _collector->remove(this);
  _next.close();
  _file.close();
}

void ZOVLogFile::File::close() {
  if (isOpen()) ::close(descriptor);
  *this = {};
}

void ZOVLogFile::getOSFileName(RWCString* name) {
  for (std::size_t at = 0; (at = name->index("\\", at)) != RW_NPOS;) name->replace(at, 1, "/", 1);
  if (const std::size_t mark = name->first('!'); mark != RW_NPOS) name->remove(mark, 1);
}

RWCString ZOVLogFile::osFileName(const char* name) {
  RWCString local = ZOVUTF8Handler(name).convertToLocalString();
  getOSFileName(&local);
  return local;
}

std::int64_t ZOVLogFile::secondsUntilDue() const {
  return _wasRead ? _scanInterval - ZOVClock::secondsSince(_lastRead) : 0;
}

ZOVReturnCode ZOVLogFile::read() {
  ZOV_TRACE(Public);
  noteRead();
  releasePendingSamples();
  askOwner();
  ZOVReturnCode rc = open();
  if (_file.isOpen()) readToEnd(_next.isOpen());
  while (_next.isOpen() && !_stopped) {
    followNext();
    rc = open();  // it may have been renamed, too
    readToEnd(_next.isOpen());
  }
  if (rc != ZOV_OK && _file.isOpen()) {
    // A file that was renamed may still be written to; of one that is gone nothing more will come.
    struct stat status {};
    if (fstat(_file.descriptor, &status) != 0 || status.st_nlink == 0) {
      _file.close();
      _currPosition = 0;
    }
  }
  noteRead();
  return rc;
}

/// Before a scan too, since a failure may cut it short.
void ZOVLogFile::noteRead() {
  _lastRead = ZOVClock::steady();
  _wasRead = true;
}

void ZOVLogFile::askOwner() {
  if (!_owner) return;
  _event.setServerInstanceName(_owner->instanceName().view());
  const unsigned int id = _owner->collectorProcessId();
  if (id == _dcProcessId || id == 0) return;
  _dcProcessId = id;
  _event.setProcessId(std::to_string(id));
  DGT1_Printf(traceUnit, DGT1_DETAIL, "DCResourceManagerProcessId now available: %s",
              std::to_string(id).c_str());
}

// --- Which file it is.

/// Opens the file of the name as the next one, when it is another than the one that is followed, and that one
/// is at its end: while the new one is empty, its writer may still have the old one.
ZOVReturnCode ZOVLogFile::open() {
  ZOV_TRACE(Private);
  _next.close();
  struct stat status {};
  if (::stat(_fileName.data(), &status) != 0) return openFailed(errno);
  if (!_file.is(status)) {
    if (!S_ISREG(status.st_mode)) return openFailed("it is no regular file, and only such are read");
    _next.descriptor = ::open(_fileName.data(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (!_next.isOpen() || fstat(_next.descriptor, &status) != 0) return openFailed(errno);
    const RWCString reason = refusal(_next.descriptor, status);
    if (!reason.isNull()) return openFailed(reason);
    _next.device = status.st_dev;
    _next.inode = status.st_ino;
    if (_file.is(status) || (_file.isOpen() && status.st_size == 0)) _next.close();
  }
  _failureTold = false;
  return ZOV_OK;
}

/// Why the file is not read; empty when it is.
RWCString ZOVLogFile::refusal(int descriptor, const struct stat& status) const {
  if (!S_ISREG(status.st_mode)) return "it is no regular file, and only such are read";
  if (!_owner) return {};
  const std::optional<uid_t> user = _owner->user();
  if (!user) return "nobody is known whom the server belongs to, and who could read it";
  if (zov::userMayRead(descriptor, *user)) return {};
  return RWCString("user " + std::to_string(*user) + ", whom the server belongs to, could not read it");
}

ZOVReturnCode ZOVLogFile::openFailed(int error) {
  RWCString reason;
  ZOVGetLastError(&reason, error);
  return openFailed(reason);
}

ZOVReturnCode ZOVLogFile::openFailed(const RWCString& reason) {
  ZOV_FUNCTION;
  _next.close();
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Opened failed for AppServer log file: %s", _nativeFileName.data());
  if (!_failureTold) {
    const std::string details =
        reason.str() + "; it is tried again every " + std::to_string(_scanInterval) + " seconds";
    ZOV_LOG_ERROR(ZOVA0030E, "fopen " + _nativeFileName, details.c_str());
  }
  _failureTold = true;
  return ZOV_UNABLE_TO_OPEN_FILE;
}

void ZOVLogFile::followNext() {
  const bool isFirst = _currPosition < 0;
  _file.close();
  std::swap(_file, _next);
  if (!isFirst) _currPosition = 0;
  _heldEnd = -1;
}

// --- What is in it.

std::int64_t ZOVLogFile::startOfRead(std::int64_t size) {
  if (_currPosition < 0) return std::max<std::int64_t>(size - FirstRead, 0);
  if (_currPosition <= size) return _currPosition;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "File has rolled. Setting position at beginning of file: 0");
  return 0;
}

/// Reads what the file has when the scan begins. Of a file that is the last of its kind no record is held
/// back.
void ZOVLogFile::readToEnd(bool isLast) {
  struct stat status {};
  if (fstat(_file.descriptor, &status) != 0) return;
  std::int64_t at = startOfRead(status.st_size);
  _inRecord = false;
  const bool torn = readLines(at, status.st_size);
  if (_stopped) return;
  const bool isWhole = !torn && (!_inRecord || _format->isWhole(_fullBuffer));
  if (!isWhole && !isLast && at != _heldEnd) {
    _heldEnd = at;
    _currPosition = _recordStart;
    return;
  }
  _heldEnd = -1;
  endRecord(at);
}

bool ZOVLogFile::readLines(std::int64_t& at, std::int64_t size) {
  char chunk[ChunkSize];
  bool skips = false;  // the rest of a line that is longer than a chunk
  while (at < size && !_stopped) {
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(ChunkSize, size - at));
    const ssize_t got = ::pread(_file.descriptor, chunk, wanted, at);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;  // the file has shrunk meanwhile, or its disk fails
    const std::string_view bytes(chunk, static_cast<std::size_t>(got));
    std::size_t used = 0;
    for (std::size_t end = 0; (end = bytes.find('\n', used)) != std::string_view::npos; used = end + 1) {
      if (!skips) takeLine(bytes.substr(used, end + 1 - used), at + static_cast<std::int64_t>(used));
      skips = false;
    }
    if (used == 0 && !skips) takeLine(bytes, at);
    if (used == 0) {
      skips = true;
      used = bytes.size();
    }
    at += static_cast<std::int64_t>(used);
  }
  return skips;
}

void ZOVLogFile::takeLine(std::string_view line, std::int64_t at) {
  const zov::LogFormat::Line kind = _format->classify(line);
  if (kind != zov::LogFormat::Line::Continues) endRecord(at);
  if (kind == zov::LogFormat::Line::Begins) {
    _fullBuffer.clear();
    _inRecord = true;
  }
  if (!_inRecord) {
    _recordStart = at;  // for a line that has no end yet
    return;
  }
  if (_fullBuffer.empty()) _recordStart = at;
  _fullBuffer.append(
      ZOVUTF8Handler::truncated(line, MaximumRecord - _fullBuffer.size(), ZOVUTF8Handler::TruncateEnd));
}

/// Takes leave of the record, which ends at `at`, before it is made an event: a failure then loses this one
/// and no other.
void ZOVLogFile::endRecord(std::int64_t at) {
  _currPosition = at;
  if (!_inRecord) return;
  _inRecord = false;
  processLine(_fullBuffer);
}

void ZOVLogFile::processLine(const std::string& record) {
  _event.setMsgId({});
  if (!_format->parse(record, _event)) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Record of %s dropped: %s", _nativeFileName.data(), record.c_str());
    return;
  }
  _event.setLogEventSampleSeqNum(getNewLogEventSampleSeqNum());
  if (insertSample(_event) != ZOV_OK) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "zov_zovloganal_agent emitEvent failed. Queuing as pending event");
  }
}

int ZOVLogFile::getNewLogEventSampleSeqNum() {
  if (_seqNum == LastSequenceNumber) _seqNum = -1;
  return ++_seqNum;
}

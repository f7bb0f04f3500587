#pragma once
// zov::LogFileOwner: what a log file needs of the server whose log it is. Outlives its log files. Any thread
// may ask, with the log files' locks held.

#include <sys/types.h>

#include <optional>

#include "foundation/string.h"

class ZOVApplicationServerBase;

namespace zov {

class LogFileOwner {
 public:
  virtual ~LogFileOwner() = default;
  virtual RWCString instanceName() const = 0;           ///< UTF-8
  virtual unsigned int collectorProcessId() const = 0;  ///< 0 until known
  virtual std::optional<uid_t> user() const = 0;        ///< whom the server belongs to, when that is known
  virtual const ZOVApplicationServerBase* server() const = 0;  ///< as events name it; may be null
};

}  // namespace zov

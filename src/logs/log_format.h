#pragma once
// zov::LogFormat: one form in which servers write their logs: where a record begins, and what is in it. Each
// log file has an object of its own, used by one thread at a time: it keeps what successive records share.

#include <memory>
#include <optional>
#include <string_view>

#include "collectors/log_event_sample.h"

namespace zov {

class LogFormat {
 public:
  enum class Line {
    Begins,     ///< a record
    Continues,  ///< the record before it, when there is one
    Ends        ///< the record before it, and is of none
  };

  virtual ~LogFormat() = default;
  /// The form that the configuration names (docs/configuration.md); without a name, and for one that is not
  /// known, which is traced, that of activity logs.
  static std::unique_ptr<LogFormat> make(const RWCString& name);
  /// The same; null for one that is not known.
  static std::unique_ptr<LogFormat> find(const RWCString& name);
  static constexpr const char* Accepted =
      "accepted are ACTIVITY, TOMCAT, LOGBACK, LOG4J, JSON, and a pattern with %d in it and %m at its end. "
      "The "
      "form of activity logs is read.";

  /// What a line, with its end, is.
  virtual Line classify(std::string_view line) = 0;
  /// False when the record's form has it go on behind what was read.
  virtual bool isWhole(std::string_view /*record*/) const { return true; }
  /// Sets time, thread, component, severity, identifier and text of the event. False for what is no record.
  virtual bool parse(std::string_view record, ZOVLogEventSample& event) = 0;

 protected:
  /// The text in UTF-8, valid until the next call; what is UTF-8 already is not copied.
  std::string_view fromLocal(std::string_view text);

 private:
  RWCString _converted;
};

/// The numeric severity of a letter of activity logs; 0 for others.
int logSeverity(char letter);
/// That of a level of the Java logging libraries ("WARN", "SEVERE"); nothing for others.
std::optional<int> logSeverityOfLevel(std::string_view level);

constexpr std::string_view LogBlanks = " \t\n\v\f\r";
std::string_view withoutLeadingBlanks(std::string_view text);
std::string_view withoutTrailingBlanks(std::string_view text);
/// Takes the next word off the text, at most so many bytes of it.
std::string_view takeWord(std::string_view& text, std::size_t most = std::string_view::npos);

}  // namespace zov

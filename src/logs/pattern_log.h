#pragma once
// zov::PatternLog: a form that a pattern gives, as the Java logging libraries have them. In a pattern stand
//
//   %d  the time, as LogClock takes it       %t  the thread            %m  the text, up to the record's end
//   %p  the level                            %c  the logger            %i  a word that is not wanted
//
// One blank is any number of them, and all else stands for itself. A field ends at the next blank, or at what
// stands behind it in the pattern. A record begins with a line in which everything up to the time matches;
// all other lines, such as those of a stack trace, belong to the record before them.

#include <string>
#include <vector>

#include "logs/log_clock.h"
#include "logs/log_format.h"

namespace zov {

class PatternLog final : public LogFormat {
 public:
  /// Null for a pattern without %d, without %m at its end, or with a letter that is not known.
  static std::unique_ptr<PatternLog> make(std::string_view pattern);

  Line classify(std::string_view line) override;
  bool parse(std::string_view record, ZOVLogEventSample& event) override;

 private:
  struct Element {
    char kind;         // the letter; ' ' blanks, '=' what stands for itself
    std::string text;  // of '='
  };
  bool match(std::string_view text, ZOVLogEventSample& event, bool upToTime);
  bool take(std::size_t element, std::string_view& text, ZOVLogEventSample& event);
  std::string_view takeField(std::size_t element, std::string_view& text) const;

  std::vector<Element> _elements;
  LogClock _clock;
  ZOVLogEventSample _scratch;  // for lines of which only the beginning is looked at
};

/// Sets the component: a logger's name without as many of its first parts as it takes to fit its column.
void setLogComponent(std::string_view logger, ZOVLogEventSample& event);

}  // namespace zov

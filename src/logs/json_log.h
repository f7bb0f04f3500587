#pragma once
// zov::JsonLog: logs of which each line is a JSON object, as the encoders and layouts of the Java logging
// libraries write them. The members that are read stand in the .cpp; all others are passed over, and so is
// what lies deeper, save the time that is an object of seconds and nanoseconds. Lines that begin with no "{"
// belong to the record before them.

#include <string>

#include "logs/log_clock.h"
#include "logs/log_format.h"

namespace zov {

class JsonLog final : public LogFormat {
 public:
  Line classify(std::string_view line) override {
    return line.starts_with('{') ? Line::Begins : Line::Continues;
  }
  bool parse(std::string_view record, ZOVLogEventSample& event) override;

 private:
  bool takeMembers(std::string_view& text, int depth);
  bool takeValue(std::string_view& text, int depth);
  static bool takeString(std::string_view& text, std::string& out);
  void setMember(int depth, bool isText);

  ZOVLogEventSample* _event = nullptr;  // while parse is under way
  LogMoment _moment;
  bool _hasMessage = false;
  std::string _key, _value;  // of the member that is being read; storage that every record uses again
  LogClock _clock;
};

}  // namespace zov

#pragma once
// zov::ActivityLog: the form of activity logs. A record begins with "[" and goes on over the lines behind it,
// up to the next one or to a banner, a line that begins with "*":
//
//   [1/2/05 12:34:56:789 EST] 0000001a Foo I ABCD0001I: a text
//   [1/2/05 12:34:56:789 EST] 0000001a I UOW= source=org.example.Foo org=... thread=[main]
//             ABCD0001I: a text
//
// The date is in the short form of the process's locale, the time local; the zone is not looked at.

#include <unicode/datefmt.h>

#include <string>

#include "logs/log_clock.h"
#include "logs/log_format.h"

namespace zov {

class ActivityLog final : public LogFormat {
 public:
  Line classify(std::string_view line) override;
  bool isWhole(std::string_view record) const override;
  bool parse(std::string_view record, ZOVLogEventSample& event) override;

 private:
  std::optional<RWDate> parseDate(std::string_view date);
  LogMoment parseMoment(std::string_view date, std::string_view time);
  bool parsePlain(std::string_view rest, ZOVLogEventSample& event);
  bool parseLong(std::string_view rest, ZOVLogEventSample& event);
  void setMessage(std::string_view id, std::string_view text, ZOVLogEventSample& event);

  std::unique_ptr<icu::DateFormat> _dateFormat;  // made at first use
  std::string _dateText;                         // the last date that was parsed
  RWDate _date{0, 0, 0};
  LogClock _clock;
};

}  // namespace zov

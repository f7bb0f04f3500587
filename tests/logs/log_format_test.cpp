// What is read out of a record of each form.

#include "logs/log_format.h"

#include <gtest/gtest.h>

#include <string>

#include "support/diagnostic_environment.h"
#include "support/step_clock.h"

namespace {

template <class Copy>
std::string field(const ZOVLogEventSample& sample, Copy copy) {
  char out[300] = {};
  (sample.*copy)(out, sizeof out - 1);
  return out;
}

/// "time thread component severity identifier|text"; "none" for no record.
std::string parsed(zov::LogFormat& format, std::string_view record) {
  ZOVLogEventSample event;
  if (!format.parse(record, event)) return "none";
  return field(event, &ZOVLogEventSample::copyTimeStamp) + " " +
         field(event, &ZOVLogEventSample::copyThreadId) + " " +
         field(event, &ZOVLogEventSample::copyComponent) + " " + std::to_string(event.getSeverity()) + " " +
         field(event, &ZOVLogEventSample::copyMsgId) + "|" + field(event, &ZOVLogEventSample::copyMessage);
}

struct Case {
  const char* what;
  std::string record;
  std::string event;
};

TEST(LogFormat, OfActivityLogs) {
  const DiagnosticEnvironment environment;
  const auto format = zov::LogFormat::make("");
  const std::string stamp = "[1/2/05 12:34:56:789 EST] ", time = "1050102123456789 ";
  const Case cases[] = {
      {"plain", stamp + "0000001a Foo I ABCD0001I: a text\n", time + "0000001a Foo 1 ABCD0001I|a text"},
      {"lines", stamp + "0000001a Foo E ABCD0001I: a\n\tb\n", time + "0000001a Foo 22 ABCD0001I|a\n\tb"},
      {"no identifier", stamp + "0000001a Foo ? Abc: text", time + "0000001a Foo 0 |Abc: text"},
      {"words that are too long", stamp + "0000001abc defghijklmnopqrs text",
       time + "0000001a bc 13 |efghijklmnopqrs text"},
      {"no text", stamp + "0000001a Foo I", "none"},
      {"long form",
       stamp + "0000001a W UOW= source=org.example.Foo org=x thread=[m]\n  ABCD0002W: a: b\n c\n",
       time + "0000001a Foo 21 ABCD0002W|a: b"},
      {"long form without identifier", stamp + "0000001a > UOW= source=Foo\n  a: b\n",
       time + "0000001a Foo 10 |a: b"},
      {"a text that is cut on a character", stamp + "1 Foo I A1: " + std::string(255, 'x') + "\xC3\xA9y",
       time + "1 Foo 1 A1|" + std::string(255, 'x')},
      {"19 characters between the brackets", "[1/2/05 12:34:56:7 Z] 1 Foo I x", "none"},
      {"20", "[1/2/05 12:34:56:78 Z] 1 Foo I x", "none"},
      {"21", "[1/2/05 12:34:56:78 CE] 1 Foo I x", "1050102123456078 1 Foo 1 |x"},
      {"an impossible time", "[1/2/05 25:34:56:789 EST] 1 Foo I x", "none"},
      {"an impossible date", "[x/2/05 12:34:56:789 EST] 1 Foo I x", "none"},
  };
  for (const Case& c : cases) EXPECT_EQ(parsed(*format, c.record), c.event) << c.what;
}

TEST(LogFormat, OfServersAsTheyAre) {
  const DiagnosticEnvironment environment;
  const struct {
    const char* format;
    std::string record, event;
  } cases[] = {
      {"TOMCAT",
       "23-Nov-2026 10:08:28.123 WARNING [http-nio-8080-exec-1] "
       "org.apache.catalina.core.StandardContext.reload Slow\n\tat x.Y\n",
       "1261123100828123 http-nio-8080-exec-1 core.StandardContext.reload 21 |Slow\n\tat x.Y"},
      {"LOGBACK", "2026-11-23 10:08:28,12 [main] INFO  o.e.Foo - a - b\n",
       "1261123100828120 main o.e.Foo 1 |a - b"},
      {"LOGBACK", "2026-11-23 10:08:28 [main] ERROR o.e.Foo -- a\n", "1261123100828000 main o.e.Foo 22 |a"},
      {"LOG4J", "2026-11-23T10:08:28.123456 [my thread] FATAL Foo - \n",
       "1261123100828123 my thread Foo 24 |"},
      {"LOG4J", "2026-11-23T10:08:28.123 [main] LOUD Foo - a\n", "none"},
      {"LOG4J", "31-Foo-2026 10:08:28.123 [main] INFO Foo - a\n", "none"},
      {"%d  %p %i --- [%t] %c : %m", "2026-11-23T10:08:28.123 INFO 1 --- [           main] o.e.Foo   : a : b",
       "1261123100828123 main o.e.Foo 1 |a : b"},
      {"JSON",
       R"({"@timestamp":"2026-11-23T10:08:28.123","a":{"message":"no"},"b":[{},[1,"}"]],"n":null,)"
       R"("message":"a \"b\"\n\u00e9\ud83d\ude00","logger_name":"x.Y","thread_name":"t","level":"DEBUG"})",
       "1261123100828123 t x.Y 13 |a \"b\"\n\xC3\xA9\xF0\x9F\x98\x80"},
      {"JSON", R"({"time":"2026-11-23 10:08:28","msg":"first", "cut)", "1261123100828000   0 |first"},
      {"JSON", R"({"message":"no time"})", "none"},
      {"JSON", R"({"timestamp":"2026-11-23 10:08:28","message":"\ud)", "none"},
      {"JSON", "{\"a\":" + std::string(50'000, '['), "none"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parsed(*zov::LogFormat::make(c.format), c.record), c.event) << c.record;
  }
  // With a zone, and as a number, a time is the same everywhere.
  const std::string expected = parsed(*zov::LogFormat::make("JSON"), R"({"time":1795428508123,"msg":"a"})");
  for (const char* time :
       {R"("2026-11-23T10:08:28.123Z")", R"("2026-11-23T11:38:28.123+01:30")",
        R"("2026-11-23T09:08:28.123-0100")", R"({"epochSecond":1795428508,"nanoOfSecond":123000000})"}) {
    EXPECT_EQ(
        parsed(*zov::LogFormat::make("JSON"), R"({"timestamp":)" + std::string(time) + R"(,"msg":"a"})"),
        expected)
        << time;
  }
}

TEST(LogFormat, WhereRecordsBegin) {
  using Line = zov::LogFormat::Line;
  const struct {
    const char* format;
    const char* line;
    Line kind;
  } cases[] = {
      {"", "[", Line::Begins},
      {"", "*", Line::Ends},
      {"", "x", Line::Continues},
      {"LOGBACK", "10:08:28.123 [", Line::Begins},
      {"LOGBACK", "java.lang.Error: 10:08:28", Line::Continues},
      {"TOMCAT", "\tat x.Y", Line::Continues},
      {"JSON", "{", Line::Begins},
      {"JSON", "\tat", Line::Continues},
      {"PLAIN", "[", Line::Begins},
      {"%d", "[", Line::Begins},
      {"%d %x %m", "[", Line::Begins},
  };
  for (const auto& c : cases)
    EXPECT_EQ(zov::LogFormat::make(c.format)->classify(c.line), c.kind) << c.format << c.line;
}

TEST(LogFormat, ATimeWithoutADateIsTheLastOne) {
  const DiagnosticEnvironment environment;
  const StepClock clock;
  const auto stamp = [](std::int64_t seconds, bool dated) {
    struct tm fields = {};
    const RWTime time(static_cast<std::uint32_t>(ZOVClock::seconds() + seconds));
    time.extract(&fields);
    char text[40];
    std::strftime(text, sizeof text, dated ? "%Y-%m-%d %H:%M:%S [t] INFO c - m" : "%H:%M:%S [t] INFO c - m",
                  &fields);
    return parsed(*zov::LogFormat::make("LOG4J"), text);
  };
  EXPECT_EQ(stamp(-10, false), stamp(-10, true));
  EXPECT_EQ(stamp(-80'000, false), stamp(-80'000, true)) << "of the day before";
}

}  // namespace

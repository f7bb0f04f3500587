// What is read out of a record of each form.

#include "logs/log_format.h"

#include <gtest/gtest.h>

#include <string>

#include "support/diagnostic_environment.h"

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

}  // namespace

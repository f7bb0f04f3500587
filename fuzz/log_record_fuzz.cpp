// A log's bytes, in each of its forms: whatever they are, records are cut out of them and parsed. Where the
// form takes a line for the beginning of a record says nothing about whether it is one.

#include <cstdint>
#include <string_view>

#include "logs/log_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view record(reinterpret_cast<const char*>(data), size);
  for (const char* form : {"ACTIVITY", "TOMCAT", "LOGBACK", "LOG4J", "JSON", "%d %p %i --- [%t] %c : %m"}) {
    const auto format = zov::LogFormat::make(form);
    ZOVLogEventSample event;
    format->classify(record);
    format->isWhole(record);
    format->parse(record, event);
  }
  return 0;
}

// The text form of a sample, lines of keyword=value: any bytes make a sample that can be rated and sent. The
// first two bytes of the input are the sample's type.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/trace.h"
#include "samples/sample.h"
#include "transport/buffer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DGT1_Configure("");
  if (size < 2) return 0;
  const auto type = static_cast<ZOVSample::_SampleType>(data[0] * 256 + data[1]);
  const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromSampleString(type, text.c_str()));
  if (!sample) return 0;
  sample->calculateRates(nullptr);
  ZOVBuffer buffer;
  sample->stream(buffer);
  return 0;
}

// Two samples from hostile frames, one after the other: rated against each other, merged and read, every
// number stays within what its type can hold, whatever was sent. The first two bytes of the input are the
// length of the first body, the rest are the bodies.

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/trace.h"
#include "samples/sample.h"
#include "transport/buffer.h"
#include "transport/transportable_data.h"

namespace {

/// Null when the body is no sample.
std::unique_ptr<ZOVSample> sampleOf(const std::uint8_t* data, std::size_t size) {
  ZOVBuffer buffer(RWCString(reinterpret_cast<const char*>(data), size));
  std::unique_ptr<ZOVTransportableData> object = ZOVTransportableData::buildFromBuffer(buffer);
  if (!object || object->getDataType() != ZOVTransportableData::SampleDataType) return nullptr;
  return std::unique_ptr<ZOVSample>(static_cast<ZOVSample*>(object.release()));
}

void readAll(const ZOVSample& sample) {
  std::vector<int> keys(static_cast<std::size_t>(sample.getNumNumericKeys()));
  sample.numericKeys(keys.data());
  for (const int key : keys) {
    sample.getNumericData(key);
    sample.getTotalCount(key);
    sample.getRate(key);
    sample.getPercent(key);
    sample.getTotalForStatinfo(key);
    sample.getTotalNumSamplesForStatinfo(key);
  }
  ZOVBuffer buffer;
  sample.stream(buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DGT1_Configure("");
  ZOVSample::getSampleTypeInEnglish({});  // brings the samples, and so their factory, into the program
  if (size < 2) return 0;
  const std::size_t first = data[0] * 256U + data[1];
  if (first > size - 2) return 0;
  const auto before = sampleOf(data + 2, first), after = sampleOf(data + 2 + first, size - 2 - first);
  if (!before || !after || before->getSampleType() != after->getSampleType()) return 0;

  const std::unique_ptr<ZOVSample> merged(before->clone());
  merged->mergeSampleData(after.get());
  before->calculateRates(nullptr);
  after->calculateRates(before.get());
  merged->calculateRates(before.get());
  const std::unique_ptr<ZOVSample> history(before->clone());
  history->mergeIntoHistoricalSample(after.get());
  for (const auto& sample : {before.get(), after.get(), merged.get(), history.get()}) readAll(*sample);
  return 0;
}

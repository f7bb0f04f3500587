// The body of a frame: any bytes build nothing, or an object that flattens to bytes of which an object of
// the same kind comes back.

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/trace.h"
#include "samples/sample.h"
#include "transport/buffer.h"
#include "transport/transportable_data.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::unique_ptr<ZOVTransportableData> rebuilt(RWCString body) {
  ZOVBuffer buffer(std::move(body));
  return ZOVTransportableData::buildFromBuffer(buffer);
}

std::string flattened(const ZOVTransportableData& object) {
  ZOVBuffer buffer;
  object.stream(buffer);
  return buffer.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DGT1_Configure("");
  ZOVSample::getSampleTypeInEnglish({});  // brings the samples, and so their factory, into the program
  const auto object = rebuilt(RWCString(reinterpret_cast<const char*>(data), size));
  if (!object) return 0;
  // Nulls are not sent, so the first way there and back may fill in defaults; the second changes nothing.
  const auto again = rebuilt(RWCString(flattened(*object)));
  require(again && again->getDataType() == object->getDataType());
  if (object->getDataType() == ZOVTransportableData::RequestDataType) {
    const std::string bytes = flattened(*again);
    require(flattened(*rebuilt(RWCString(bytes))) == bytes);
  }
  const std::unique_ptr<ZOVTransportableData> copy(object->clone());
  require(copy->getDataType() == object->getDataType());
  return 0;
}

#include "tables/computed_values.h"

#include "samples/arithmetic.h"
#include "server/application_server_base.h"

namespace zov {

namespace {
constexpr long long Null = ZOVSample::NullValue;
}

long long sumOfKnown(const ZOVSample& sample, std::initializer_list<int> keys) {
  long long sum = Null;
  for (const int key : keys) {
    const long long value = sample.getNumericData(key);
    if (value != Null) sum = sum == Null ? value : zovAdd(sum, value);
  }
  return sum;
}

long long sumOf(long long a, long long b) {
  return a == Null || b == Null ? Null : zovAdd(a, b);
}

long long differenceOf(long long a, long long b) {
  return a == Null || b == Null ? Null : zovSubtract(a, b);
}

RWCString platformOf(const ZOVApplicationServerBase& server) {
  RWCString platform;
  server.findJavaProperty("appserver.platform", platform);
  return platform;
}

}  // namespace zov

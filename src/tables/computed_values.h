#pragma once
// What several tables compute of samples. In all of it -1 is null. Nothing is kept; any thread may call.

#include <initializer_list>

#include "foundation/string.h"
#include "samples/sample.h"

class ZOVApplicationServerBase;

namespace zov {

/// The sum of those keys that have a value; null when none has.
long long sumOfKnown(const ZOVSample& sample, std::initializer_list<int> keys);

/// Null when either is.
long long sumOf(long long a, long long b);
long long differenceOf(long long a, long long b);

/// What the server runs on, as its collector says; empty until it has.
RWCString platformOf(const ZOVApplicationServerBase& server);

}  // namespace zov

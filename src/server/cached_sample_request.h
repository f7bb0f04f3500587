#pragma once
// CachedSampleRequest: a note that samples of some resources were taken a moment ago, so that a flood of
// table requests costs one collection. Kept in a list of its server, under the server's lock.

#include <cstdint>
#include <memory>

#include "samples/resource_anchor.h"

class CachedSampleRequest {
 public:
  /// Clones the anchor; the time is now.
  explicit CachedSampleRequest(const ZOVResourceAnchor& anchor);

  std::uint32_t getTime() const { return _time; }  ///< seconds
  const ZOVResourceAnchor& getAnchor() const { return *_anchor; }

 private:
  std::uint32_t _time;
  std::unique_ptr<ZOVResourceAnchor> _anchor;
};

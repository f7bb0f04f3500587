#pragma once
// What the callback of a walk over samples receives beside each sample, and the copy of a sample that waits
// in the query's order. Lives for one query, on the framework's thread.

#include <memory>
#include <vector>

#include "foundation/collections.h"
#include "runtime/collectable.h"
#include "samples/sample.h"
#include "tables/filters.h"

class ZOVApplicationServerBase;

struct ZOVSampleCallbackParms {
  tqbox* request = nullptr;
  const zov::ExtendedFilter* filter = nullptr;
  RWBinaryTree* sortTree = nullptr;  ///< when set, samples are put here instead of becoming rows
  /// The servers that were asked: they stay alive until the samples in the tree have become rows.
  std::vector<std::shared_ptr<ZOVApplicationServerBase>> servers;
};

namespace zov {

/// A copy of a sample in the order that a query asked for. Equal ones keep the order of their insertion.
class SortedSample : public ZOVCollectable {
 public:
  SortedSample(std::unique_ptr<ZOVSample> sample, const ExtendedFilter* filter,
               const ZOVApplicationServerBase* server)
      : _sample(std::move(sample)), _filter(filter), _server(server), _value(sortValue()) {}
  /// By the filter's value, negated for a descending order; 0 without a filter.
  int compareTo(const RWCollectable* other) const override;
  const ZOVSample& sample() const { return *_sample; }
  const ZOVApplicationServerBase* server() const { return _server; }

 private:
  long long sortValue() const;

  std::unique_ptr<ZOVSample> _sample;
  const ExtendedFilter* _filter;            // not owned
  const ZOVApplicationServerBase* _server;  // kept alive by the query's parms
  long long _value;
};

}  // namespace zov

// What the families of all tables have in common, and the whole of those that are plain.

#include "tables/families.h"

#include <memory>

#include "samples/anchors.h"

// Each filter is a constant of the function that makes the anchors, so that the compiler tells one that no
// anchor reads.
namespace zov::facts {
#define ZOV_TABLE(sort, stem, ...)                                               \
  ResourceAnchors stem##_anchors([[maybe_unused]] const FilterValues& filters) { \
    ResourceAnchors anchors;
#define ZOV_FILTER(column, wildcard) const auto& column = filters.value(#column, wildcard);
#define ZOV_ANCHOR(Anchor, ...) anchors.push_back(std::make_unique<Anchor>(__VA_ARGS__));
#define ZOV_END_TABLE \
  return anchors;     \
  }
#include "tables/tables.def"
}  // namespace zov::facts

#define ZOV_AGENT_Plain(stem)  \
  ZOV_SAMPLE_TABLE_AGENT(stem) \
  }                            \
  ;                            \
  ZOV_DEFINE_INIT(stem);
#define ZOV_AGENT_Computing(stem)  // by hand
#define ZOV_AGENT_Own(stem)        // by hand
#define ZOV_TABLE(sort, stem, ...) ZOV_AGENT_##sort(stem)
#include "tables/tables.def"

std::span<const zov::TableInfo* const> zov::allTables() {
  static constexpr const TableInfo* tables[] = {
#define ZOV_TABLE(sort, stem, ...) &zov_##stem##_info,
#include "tables/tables.def"
  };
  return tables;
}

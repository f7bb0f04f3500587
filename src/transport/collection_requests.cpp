#include "transport/collection_requests.h"

std::span<const ZOVInitiateCollectionRequest::NumericField> ZOVInitiateCollectionRequest::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVInitiateCollectionRequest::_value>(12),
      numeric<&ZOVInitiateCollectionRequest::_option>(16),
      numeric<&ZOVInitiateCollectionRequest::_interval>(23),
  };
  return fields;
}

std::span<const ZOVInitiateCollectionRequest::TextField> ZOVInitiateCollectionRequest::textFields() {
  static constexpr TextField fields[] = {
      {18, &ZOVInitiateCollectionRequest::_text1},
      {19, &ZOVInitiateCollectionRequest::_text2},
  };
  return fields;
}

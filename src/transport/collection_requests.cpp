#include "transport/collection_requests.h"

std::span<const ZOVInitiateCollectionRequest::NumericField> ZOVInitiateCollectionRequest::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVInitiateCollectionRequest::_value>(InitiateValueKey),
      numeric<&ZOVInitiateCollectionRequest::_option>(InitiateOptionKey),
      numeric<&ZOVInitiateCollectionRequest::_interval>(InitiateIntervalKey),
  };
  return fields;
}

std::span<const ZOVInitiateCollectionRequest::TextField> ZOVInitiateCollectionRequest::textFields() {
  static constexpr TextField fields[] = {
      {InitiateText1Key, &ZOVInitiateCollectionRequest::_text1},
      {InitiateText2Key, &ZOVInitiateCollectionRequest::_text2},
  };
  return fields;
}

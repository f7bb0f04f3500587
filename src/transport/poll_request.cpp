#include "transport/poll_request.h"

namespace {

struct BitsOfTypes {
  int first, last;  // sample types
  ZOVPollRequest::_PollMask bit;
  bool ownBits;  // each type has a bit of its own, the next one higher
};

constexpr BitsOfTypes bitsOfTypes[] = {
#define ZOV_POLL_BITS(first, last, bit) {first, last, bit, true},
#define ZOV_POLL_BIT(first, last, bit) {first, last, bit, false},
#include "transport/poll_bits.def"
};

}  // namespace

ZOVPollRequest::_PollMask ZOVPollRequest::getPollType(int sampleType) {
  for (const BitsOfTypes& row : bitsOfTypes) {
    if (sampleType >= row.first && sampleType <= row.last) {
      return row.ownBits ? row.bit << (sampleType - row.first) : row.bit;
    }
  }
  return 0;
}

std::span<const ZOVPollRequest::NumericField> ZOVPollRequest::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVPollRequest::_pollType>(PollTypeKey),
      numeric<&ZOVPollRequest::_pollParm>(PollParmKey),
  };
  return fields;
}

std::span<const ZOVPollRequest::TextField> ZOVPollRequest::textFields() {
  static constexpr TextField fields[] = {
      {PollParm1Key, &ZOVPollRequest::_parm1}, {PollParm2Key, &ZOVPollRequest::_parm2, NotCopied},
      {PollParm3Key, &ZOVPollRequest::_parm3}, {PollParm4Key, &ZOVPollRequest::_parm4},
      {PollParm5Key, &ZOVPollRequest::_parm5}, {PollParm6Key, &ZOVPollRequest::_parm6},
  };
  return fields;
}

ZOVPollRequest::ZOVPollRequest(long long pollType, const char* parm1, const char* parm2, const char* parm3,
                               const char* parm4, const char* parm5, const char* parm6, int parm)
    : _pollType(pollType),
      _parm1(parm1),
      _parm2(parm2),
      _parm3(parm3),
      _parm4(parm4),
      _parm5(parm5),
      _parm6(parm6),
      _pollParm(parm) {}

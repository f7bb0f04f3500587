#include "transport/poll_request.h"

namespace {

struct PollBits {
  int first, last;  // sample types
  ZOVPollRequest::_PollMask bit;
  bool ownBits;  // each type has a bit of its own, the next one higher
};

constexpr PollBits pollBits[] = {
    {1, 10, 0x1, true},
    {14, 14, ZOVPollRequest::GCData, false},
    {53, 54, ZOVPollRequest::GCData, false},
    {17, 18, 0x40000, true},
    {31, 36, ZOVPollRequest::RequestData, false},
    {39, 47, ZOVPollRequest::RequestData, false},
    {55, 55, ZOVPollRequest::RequestData, false},
    {66, 66, ZOVPollRequest::RequestData, false},
    {76, 76, ZOVPollRequest::RequestData, false},
    {62, 62, 0x2000000, false},
    {67, 73, 0x4000000, true},
    {74, 74, 0x400000000, false},
    {75, 75, 0x200000000, false},
    {77, 80, 0x40000000000, true},
};

}  // namespace

ZOVPollRequest::_PollMask ZOVPollRequest::getPollType(int sampleType) {
  for (const PollBits& row : pollBits) {
    if (sampleType >= row.first && sampleType <= row.last) {
      return row.ownBits ? row.bit << (sampleType - row.first) : row.bit;
    }
  }
  return 0;
}

std::span<const ZOVPollRequest::NumericField> ZOVPollRequest::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVPollRequest::_pollType>(1),
      numeric<&ZOVPollRequest::_pollParm>(2),
  };
  return fields;
}

std::span<const ZOVPollRequest::TextField> ZOVPollRequest::textFields() {
  static constexpr TextField fields[] = {
      {6, &ZOVPollRequest::_parm1}, {7, &ZOVPollRequest::_parm2},  {8, &ZOVPollRequest::_parm3},
      {9, &ZOVPollRequest::_parm4}, {10, &ZOVPollRequest::_parm5}, {11, &ZOVPollRequest::_parm6},
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

ZOVPollRequest::ZOVPollRequest(const ZOVPollRequest& other) : ZOVPollRequest() {
  *this = other;
}

ZOVPollRequest& ZOVPollRequest::operator=(const ZOVPollRequest& other) {
  ZOVRequest::operator=(other);
  _pollType = other._pollType;
  _parm1 = other._parm1;
  _parm3 = other._parm3;
  _parm4 = other._parm4;
  _parm5 = other._parm5;
  _parm6 = other._parm6;
  _pollParm = other._pollParm;
  return *this;
}

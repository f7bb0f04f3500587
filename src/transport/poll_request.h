#pragma once
// ZOVPollRequest: asks a collector for samples. What is wanted is a mask of bits, one or more sample types to
// a bit.

#include "transport/fielded_request.h"

class ZOVPollRequest : public zov::FieldedRequest<ZOVPollRequest, ZOVRequest::PollRequestType> {
 public:
  using _PollMask = unsigned long long;
  static constexpr _PollMask GCData = 0x2000;           ///< all garbage collection data
  static constexpr _PollMask RequestData = 0x100000;    ///< all request (workload) data
  static constexpr _PollMask AlwaysPolled = 0x20c0000;  ///< sample types 62, 17 and 18: in every poll
  static constexpr _PollMask Everything = 0x7fe5fefff;

  ZOVPollRequest() = default;
  ZOVPollRequest(long long pollType, const char* parm1, const char* parm2, const char* parm3,
                 const char* parm4, const char* parm5, const char* parm6, int parm);
  ZOVPollRequest(const ZOVPollRequest& other) : ZOVPollRequest() { copyFields(other); }
  /// All but the second text, which stays as it is.
  ZOVPollRequest& operator=(const ZOVPollRequest& other) { return copyFields(other); }

  long long getPollType() const { return _pollType; }
  /// The bit of a sample type; 0 for a type that no poll asks for.
  static _PollMask getPollType(int sampleType);
  /// True when no poll for everything brings the type.
  static bool collectOnDemandOnly(int sampleType) { return (getPollType(sampleType) & Everything) == 0; }

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  long long _pollType = 0;
  RWCString _parm1, _parm2, _parm3, _parm4, _parm5, _parm6;
  int _pollParm = 0;
};

#pragma once
// ZOVPollRequest: asks a collector for samples. What is wanted is a mask of bits, one or more sample types to
// a bit.

#include "transport/request.h"

class ZOVPollRequest : public ZOVRequest {
 public:
  enum _PollKey {
    PollTypeKey = 1,
    PollParmKey = 2,
    Parm1Key = 6,
    Parm2Key = 7,
    Parm3Key = 8,
    Parm4Key = 9,
    Parm5Key = 10,
    Parm6Key = 11
  };
  using _PollMask = unsigned long long;
  static constexpr _PollMask GCData = 0x2000;           ///< all garbage collection data
  static constexpr _PollMask RequestData = 0x100000;    ///< all request (workload) data
  static constexpr _PollMask AlwaysPolled = 0x20c0000;  ///< sample types 62, 17 and 18: in every poll
  static constexpr _PollMask Everything = 0x7fe5fefff;

  ZOVPollRequest() = default;
  ZOVPollRequest(long long pollType, const char* parm1, const char* parm2, const char* parm3,
                 const char* parm4, const char* parm5, const char* parm6, int parm);
  ZOVPollRequest(const ZOVPollRequest& other);
  /// All but the second text, which stays as it is.
  ZOVPollRequest& operator=(const ZOVPollRequest& other);

  int getRequestType() const override { return PollRequestType; }
  int getNumNumericKeys() const override;
  int getNumStringKeys() const override;
  void numericKeys(int* out) const override;
  void stringKeys(int* out) const override;
  void saveNumericData(int key, long long value) override;
  long long getNumericData(int key) const override;
  void saveStringData(int key, std::string_view text) override;
  const RWCString& getStringData(int key) const override;
  ZOVPollRequest* clone() const override { return new ZOVPollRequest(*this); }

  long long getPollType() const { return _pollType; }
  /// The bit of a sample type; 0 for a type that no poll asks for.
  static _PollMask getPollType(int sampleType);
  /// True when no poll for everything brings the type.
  static bool collectOnDemandOnly(int sampleType) { return (getPollType(sampleType) & Everything) == 0; }

 private:
  static constexpr int ParmCount = 6;

  long long _pollType = 0;
  RWCString _parms[ParmCount];  // keys 6 to 11
  int _pollParm = 0;
};

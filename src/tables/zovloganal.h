#pragma once
// ZOVLOGANAL: records of the servers' activity logs. Queried, it shows the retained ones; each new one is
// pushed as it comes. It has no history.

#include "tables/families.h"

class ZOVApplicationServer;
class ZOVApplicationServerBase;
class ZOVLogEventSample;

class zov_zovloganal_agent : public zov_zovloganal_base {
 public:
  using zov_zovloganal_base::zov_zovloganal_base;
  void TakeSample() override;
  void TakeSampleConstructor() {}
  static unsigned int sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                     const ZOVApplicationServerBase* server);
  /// Pushes an event without any request; ZOV_EVENT_ERROR when the framework refuses it or has no such table
  /// yet.
  static unsigned int emitEvent(const ZOVLogEventSample* sample, const ZOVApplicationServerBase* server);

 private:
  static void setRow(zov_zovloganal_data_t* row, const ZOVLogEventSample* sample,
                     const ZOVApplicationServerBase* server);

  zov_zovloganal_data_t* _row = nullptr;  // on TakeSample's stack
};

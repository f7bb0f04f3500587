#pragma once
// ZOVPREV: the agent's own messages and those of its data collectors. Queried, it shows the retained ones;
// each new one is pushed as it comes.

#include "tables/families.h"

class ZOVApplicationServerBase;
class ZOVProductEventSample;

class zov_zovprev_agent : public zov_zovprev_base {
 public:
  using zov_zovprev_base::zov_zovprev_base;
  void TakeSample() override;
  void TakeSampleConstructor() {}
  static unsigned int sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                     const ZOVApplicationServerBase* server);
  /// Pushes an event without any request; ZOV_EVENT_ERROR when the framework refuses it or has no such table
  /// yet.
  static unsigned int emitEvent(const ZOVProductEventSample* sample, const ZOVApplicationServerBase* server);

 private:
  /// Fills all but originnode.
  static void setRow(zov_zovprev_data_t* row, const ZOVProductEventSample* sample);

  zov_zovprev_data_t* _row = nullptr;  // on TakeSample's stack
};

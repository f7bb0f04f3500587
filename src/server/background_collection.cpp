// What is taken when: which samples come in the background, which on demand, and what a poll asks for.

#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "transport/key_value_set.h"
#include "transport/poll_request.h"

static DGT1_Unit traceUnit("ZOVASBGC");

namespace {

/// What a poll for an anchor of these types asks for. Not the bits of ZOVPollRequest::getPollType, which say
/// what brings a type: these are what the agent's own anchors want. The profiling types are not here, since
/// no collector is told to collect them.
constexpr struct {
  ZOVSample::_SampleType first, last;
  ZOVPollRequest::_PollMask bits;
} WantedBits[] = {
    {ZOVSample::SampleTypeGarbageCollection, ZOVSample::SampleTypeGarbageCollection, ZOVPollRequest::GCData},
    {ZOVSample::SampleTypeWorkloadSummary, ZOVSample::SampleTypeWorkloadException,
     ZOVPollRequest::RequestData},
    {ZOVSample::SampleTypeWorkload, ZOVSample::SampleTypeHTTPSessionManager, ZOVPollRequest::RequestData},
    {ZOVSample::SampleTypeAllocationFailure, ZOVSample::SampleTypeGCCycle, ZOVPollRequest::GCData},
    {ZOVSample::SampleTypeEnvironmentVariable, ZOVSample::SampleTypeEnvironmentVariable,
     ZOVPollRequest::RequestData},
    {ZOVSample::SampleTypeMessage, ZOVSample::SampleTypeMessage, 0x2000000},
    {ZOVSample::SampleTypeQTXSummary, ZOVSample::SampleTypeQTXSummary, ZOVPollRequest::RequestData},
    {ZOVSample::SampleTypeServerRequestSummary, ZOVSample::SampleTypeServerRequestSummary,
     ZOVPollRequest::RequestData},
    {ZOVApplicationServerBase::EverythingSampleType, ZOVApplicationServerBase::EverythingSampleType,
     ZOVPollRequest::Everything},
    {ZOVApplicationServerBase::EverySampleType, ZOVApplicationServerBase::EverySampleType, 0x7ffffffff},
};

ZOVPollRequest::_PollMask bitsWantedFor(ZOVSample::_SampleType type) {
  for (const auto& row : WantedBits) {
    if (type >= row.first && type <= row.last) return row.bits;
  }
  return 0;
}

}  // namespace

bool ZOVApplicationServerBase::isObtainedFromProfiler(ZOVSample::_SampleType type) {
  const ZOVSample::_DataSource source = ZOVSample::getDataSource(type);
  return source == ZOVSample::DataSourceProfiler || source == ZOVSample::DataSourceWorkload ||
         source == ZOVSample::DataSourceVerboseGC;
}

bool ZOVApplicationServerBase::collectOnDemandOnly(ZOVSample::_SampleType type) {
  return ZOVPollRequest::collectOnDemandOnly(type);
}

bool ZOVApplicationServerBase::runningBackgroundCollection(ZOVSample::_SampleType type) const {
  if (collectOnDemandOnly(type)) return false;
  return isObtainedFromProfiler(type) ? runningBackgroundProfilerCollection()
                                      : runningBackgroundRPXCollection();
}

ZOVReturnCode ZOVApplicationServerBase::takeSample(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Public);
  if (_excludedFromMonitoring) return ZOV_SERVER_EXCLUDED;
  if (_status != ServerConnected) return 0;
  const ZOVSample::_SampleType type = anchor.getSampleType();
  const bool cached = getMinSamplingInterval(type) != 0;
  if (cached && findCachedSampleRequest(anchor)) return 0;
  const ZOVReturnCode rc =
      isObtainedFromProfiler(type) ? getOnDemandProfilerSamples(anchor) : takeSampleFromRPX(anchor);
  if (rc == 0 && cached) defineCachedSampleRequest(anchor);
  return rc;
}

ZOVReturnCode ZOVApplicationServerBase::takeSampleFromProfiler(const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Restricted);
  ZOVPollRequest::_PollMask collected = 0;
  if (CollectingRequestData()) collected |= ZOVPollRequest::RequestData;
  if (collectingGCData()) collected |= ZOVPollRequest::GCData;
  const ZOVPollRequest::_PollMask wanted = bitsWantedFor(anchor.getSampleType()) & collected;
  if (wanted == 0) return ZOV_PROFILING_NOT_ACTIVE;
  ZOVPollRequest poll(static_cast<long long>(wanted | ZOVPollRequest::AlwaysPolled), "", "", "", "", "", "",
                      0);
  if (const ZOVKeyValueSet* const more = anchor.getAdditionalPollParameters()) poll.save(*more);
  return obtainSamplesFromProfiler(poll, anchor);
}

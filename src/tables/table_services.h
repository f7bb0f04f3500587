#pragma once
// TableServices: what the tables need of the agent around them. The agent registers one object for as long as
// queries may come; tests register a small stand-in. Any thread may call, several at once, with no lock of a
// server held.

#include <functional>
#include <memory>

#include "foundation/string.h"
#include "samples/resource_anchor.h"
#include "tables/filters.h"

class ZOVAgentFrameworkComponentTraceEntry;
class ZOVApplicationServerBase;

namespace zov {

class TableServices {
 public:
  virtual ~TableServices() = default;
  /// The object that is registered; null outside the agent's life.
  static TableServices* current();
  /// Registers `services`, which must outlive its registration; null takes it back.
  static void setCurrent(TableServices* services);

  /// The host's short name, UTF-8.
  virtual RWCString nodeName() = 0;
  /// Hands the samples that the wanted anchor selects to the callback: of the subnode's server, or without a
  /// subnode of all. 0 when any server had some; ZOV_NO_SUCH_SERVER when none matches; else the last
  /// server's code.
  virtual unsigned int getSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                  const char* subnode, const ZOVResourceAnchor* anchor,
                                  _SaveSampleType saveType, GetNewSample getNew) = 0;
  /// The same for the retained records of the server's activity log.
  virtual unsigned int getLogEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                    const char* subnode) = 0;
  /// Hands the agent's retained messages to the callback. Has those of the collectors fetched too, which come
  /// as events, and does not wait for them.
  virtual void getProductEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) = 0;
  /// Visits every server that is known, under the lock of their list.
  virtual void forEachServer(const std::function<void(const ZOVApplicationServerBase&)>& visit) = 0;
  /// Keeps the entry of a query that has ended, or deletes it when the component trace is off.
  virtual void saveTraceEntry(std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> entry) = 0;
};

}  // namespace zov

#include "hub/api/nodes.h"

#include "hub/api/json.h"
#include "hub/core/registry.h"

namespace zov::hub {

Reply listNodes(const Call&) {
  const Registry& registry = Registry::instance();
  const AgentIdentity agent = registry.identity();
  return jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "agent", agent.node);
    writeMember(writer, "product", registry.product());
    writeMember(writer, "version", agent.version);
    writeKey(writer, "subnodes");
    writer.StartArray();
    for (const Subnode& subnode : registry.subnodes()) {
      writer.StartObject();
      writeMember(writer, "name", subnode.name);
      writeMember(writer, "affinity", subnode.affinity);
      writeMember(writer, "version", subnode.version);
      writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
  });
}

}  // namespace zov::hub

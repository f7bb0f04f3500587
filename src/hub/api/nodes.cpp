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
      writeObject(writer,
                  {{"name", subnode.name}, {"affinity", subnode.affinity}, {"version", subnode.version}});
    }
    writer.EndArray();
    writer.EndObject();
  });
}

Reply describeNode(const Call& call) {
  const auto subnode = Registry::instance().findSubnode(call.subject);
  if (!subnode) return registeredNode(call.subject).empty() ? noSuchNode(call.subject) : listNodes(call);
  return jsonAnswer([&](JsonWriter& writer) {
    writeObject(writer, {{"name", subnode->name},
                         {"product", subnode->product},
                         {"version", subnode->version},
                         {"affinity", subnode->affinity},
                         {"feature", subnode->feature}});
  });
}

Answer noSuchNode(const std::string& name) {
  return Answer::error(404, "there is no node " + quoted(name) + "; /v1/nodes lists the nodes");
}

std::string registeredNode(const std::string& name) {
  const Registry& registry = Registry::instance();
  if (const auto subnode = registry.findSubnode(name)) return subnode->name;
  const std::string agent = registry.identity().node;
  return equalsIgnoringCase(agent, name) ? agent : "";
}

}  // namespace zov::hub

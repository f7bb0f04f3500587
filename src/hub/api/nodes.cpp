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

Reply describeNode(const Call& call) {
  const auto subnode = Registry::instance().findSubnode(call.subject);
  if (!subnode) return registeredNode(call.subject).empty() ? noSuchNode(call.subject) : listNodes(call);
  return jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "name", subnode->name);
    writeMember(writer, "product", subnode->product);
    writeMember(writer, "version", subnode->version);
    writeMember(writer, "affinity", subnode->affinity);
    writeMember(writer, "feature", subnode->feature);
    writer.EndObject();
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

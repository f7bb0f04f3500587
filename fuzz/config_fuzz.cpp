// The configuration file: any bytes either parse, or are refused with a sentence and leave the result alone;
// and the agent makes parameters of them, which it can always tell.

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "config/config_parms.h"
#include "platform/trace.h"
#include "platform/vpd.h"
#include "support/temporary_directory.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

/// The file that stands for what was read; reading it again must give the same.
std::string written(const VPD::ConfigBase& instance) {
  std::string text;
  for (unsigned int s = 0; s < instance.getNumSections(); ++s) {
    const VPD::ConfigSection& section = *instance.getSection(s);
    text += std::string("[") + section.getName().c_str();
    if (section.getID().c_str()) text += std::string(":") + section.getID().c_str();
    text += "]\n";
    const auto names = section.getEntryNames();
    for (unsigned int e = 0; e < names.getSize(); ++e) {
      VPD::String value;
      require(section.getEntryValue(names[e], value));
      text += std::string(names[e].c_str()) + "=" + value.c_str() + "\n";
    }
  }
  return text;
}

void readAsAgent(std::string_view text) {
  static const TemporaryDirectory directory;
  directory.write("host_ov.cfg", text);
  ZOVConfigParms parms;
  parms.readFromFile(directory.file("host_").c_str());
  require(parms.getAgentConfigParms() != nullptr);
  require(parms.getAppServerConfigParms("server1", "/srv/shop") != nullptr);
  parms.print();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  DGT1_Configure("");
  VPD::ConfigParser parser;
  VPD::AgentConfig config;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  readAsAgent(text);
  if (!parser.parseConfigFromText("fuzz.cfg", text, &config)) {
    require(!parser.getError().empty() && config.getInstance("") == nullptr);
    return 0;
  }
  const std::string first = written(*config.getInstance(""));
  VPD::AgentConfig again;
  require(parser.parseConfigFromText("written.cfg", first, &again));
  require(written(*again.getInstance("")) == first);
  return 0;
}

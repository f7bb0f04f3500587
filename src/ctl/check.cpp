// `zovctl check`.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "config/config_parms.h"
#include "config/node_names.h"
#include "ctl/commands.h"
#include "ctl/text.h"
#include "logs/log_format.h"
#include "platform/trace.h"
#include "platform/vpd.h"

namespace zov::ctl {

namespace {

struct Finding {
  unsigned int line;
  std::string text;
};

/// The agent looks at the form of a log when it opens one. False when the file as a whole is not used.
bool checkLogFormats(const std::string& path, std::vector<Finding>& findings) {
  VPD::AgentConfig config;
  if (!VPD::ConfigParser().parseConfigFromFile(path.c_str(), &config)) return false;
  const VPD::ConfigBase& instance = *config.getInstance("");
  for (unsigned int i = 0; i < instance.getNumSections(); ++i) {
    for (const VPD::ConfigEntry& entry : instance.getSection(i)->getEntries()) {
      if (!(entry.name == "ZOV_LOG_FORMAT") || LogFormat::find(entry.value.c_str())) continue;
      findings.push_back({entry.line, std::string("ZOV_LOG_FORMAT = ") + entry.value.c_str() +
                                          " is not used; " + LogFormat::Accepted});
    }
  }
  return true;
}

std::string fileIn(const std::string& directory) {
  return directory + "/" + ZOVNodeNames::readSystemName().data() + "_" + ZOVConfigParms::FileSuffix;
}

/// Where the agent's configuration may be, first the most likely.
std::vector<std::string> usualFiles() {
  std::vector<std::string> files;
  if (const char* const given = std::getenv("ZOV_CONFIG_FILE"); given && *given) files.emplace_back(given);
  for (const std::string& directory : agentDirectories()) files.push_back(fileIn(directory));
  files.emplace_back("/etc/zovagent/zovagent.cfg");
  return files;
}

/// The file that is meant by what was given.
std::string fileOf(const std::string& path) {
  std::error_code failure;
  if (std::filesystem::is_directory(path, failure)) return fileIn(path);
  if (!path.empty()) return path;
  std::string looked;
  for (const std::string& file : usualFiles()) {
    if (std::filesystem::exists(file, failure)) return file;
    looked += (looked.empty() ? "" : ", ") + file + (failure ? " (" + failure.message() + ")" : "");
  }
  throw Failure(Status::Refused, "There is no configuration to check; without a file it is looked for as " +
                                     looked + ". An agent without one runs with its defaults.");
}

}  // namespace

Status checkConfiguration(const std::string& path) {
  const std::string file = fileOf(path);
  DGT1_SetSink([](const char*, int, std::string_view, void*) {}, nullptr);  // findings say it all
  std::vector<Finding> findings;
  ZOVConfigParms parms([&](unsigned int line, const std::string& text) { findings.push_back({line, text}); });
  parms.readFile(file.c_str());
  const bool isTaken = checkLogFormats(file, findings);
  std::ranges::stable_sort(findings, {}, &Finding::line);
  const std::string shown = printable(file);
  for (const auto& [line, text] : findings) {
    const std::string place = line == 0 ? shown : shown + ":" + std::to_string(line);
    std::printf("%s: %s\n", place.c_str(), printable(text).c_str());
  }
  if (!isTaken) std::printf("%s: the agent uses nothing of it while this is so.\n", shown.c_str());
  if (!findings.empty()) return Status::Refused;
  std::printf("%s: the agent uses all of it.\n", shown.c_str());
  return Status::Done;
}

}  // namespace zov::ctl

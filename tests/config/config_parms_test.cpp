#include "config/config_parms.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace {

/// Writes a configuration file, has it read, and keeps the trace of the reading.
class ConfigParmsTest : public testing::Test {
 protected:
  void read(const std::string& text) {
    directory.write("host_ov.cfg", text);
    readWithoutFile();
  }
  void readWithoutFile() { EXPECT_EQ(parms.readFromFile(directory.file("host_").c_str()), 0); }
  ZOVAgentConfigParms& agent() { return *parms.getAgentConfigParms(); }
  ZOVAppServerConfigParms& defaults() { return *parms.getAppServerConfigParms(nullptr, nullptr); }

  const TemporaryDirectory directory;
  const TraceCapture trace;
  ZOVConfigParms parms;
};

TEST_F(ConfigParmsTest, AnAbsentOrDamagedFileGivesTheDefaults) {
  readWithoutFile();
  EXPECT_EQ(agent().getCollectorSessionPort(), 63335);
  EXPECT_EQ(parms.getAppServerConfigParms("server1", "/opt"), &defaults());
  read("[Advanced_Agent_Config]\nZOV_PORT = 1234\n[Broken\n");
  EXPECT_TRUE(trace.has("line 3"));
  EXPECT_EQ(agent().getCollectorSessionPort(), 63335);
}

TEST(ConfigValues, AreReadOrLeaveWhatWas) {
  using Agent = const ZOVAgentConfigParms;
  using Server = const ZOVAppServerConfigParms;
  const auto port = [](Agent& agent, Server&) { return agent.getCollectorSessionPort(); };
  const auto action = [](Agent&, Server& server) { return server.getRequestCollectAction(); };
  const auto level = [](Agent&, Server& server) { return server.getWorkloadCollectLevel(); };
  const auto both = [](Agent& agent, Server& server) {
    return agent.getLogScanInterval() == server.getLogScanInterval() ? agent.getLogScanInterval() : -1;
  };
  const struct {
    const char *section, *line;
    int (*value)(Agent&, Server&);
    int expected;
    bool complains;
  } cases[] = {
      {"Advanced_Agent_Config", "ZOV_PORT = abc", port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT =", port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT = 99999999999", port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT = 0", port, 0, false},
      {"Advanced_Agent_Config", "ZOV_PORT = +12x", port, 12, false},
      {"Advanced_Agent_Config", "ZOV_PORT = -12", port, -12, false},
      {"Advanced_Agent_Config", "zov_port = 12", port, 63335, true},
      {"Basic_Config", "ZOV_PORT = 12", port, 63335, true},
      {"basic_config", "ZOV_REQ_SAMPLEMETHOD = ONDEMAND", action, 2, true},
      {"Basic_Config", "ZOV_REQ_SAMPLEMETHOD = ONDEMAND", action, 1, false},
      {"Basic_Config", "ZOV_REQ_SAMPLEMETHOD = ondemand", action, 2, false},
      {"Basic_Config", "ZOV_REQ_MONITORING_LEVEL = LEVEL3", level, 1, true},
      {"Basic_Config", "ZOV_REQ_MONITORING_LEVEL = LEVEL2", level, 2, false},
      {"Advanced_J2EE_Config", "ZOV_APPSRVR_LOGSCANINTERVAL = 11", both, 11, false},
  };
  const TemporaryDirectory directory;
  for (const auto& c : cases) {
    const TraceCapture trace;
    directory.write("host_ov.cfg", std::string("[") + c.section + "]\n" + c.line + "\n");
    ZOVConfigParms fresh;
    fresh.readFromFile(directory.file("host_").c_str());
    EXPECT_EQ(c.value(*fresh.getAgentConfigParms(), *fresh.getAppServerConfigParms(nullptr, nullptr)),
              c.expected)
        << c.line;
    EXPECT_EQ(!trace.lines().empty(), c.complains) << c.line;
  }
}

TEST_F(ConfigParmsTest, ServersGetTheirSections) {
  read(R"([AppServer:early]
ZOV_APPSRVR_NAME = server0
ZOV_APPSRVR_ROOT = /opt/zero
[Advanced_J2EE_Config]
ZOV_REQ_SAMPLE_RATE = 9
[AppServer:shop]
ZOV_APPSRVR_NAME = server1
ZOV_APPSRVR_ROOT = /opt/shop
[Other:bank]
ZOV_APPSRVR_NAME = server1
ZOV_APPSRVR_ROOT = /opt/bank
[AppServer:shop]
ZOV_APPSRVR_NAME = server2
ZOV_APPSRVR_ROOT = /opt/other
[AppServer:again]
ZOV_APPSRVR_NAME = server1
ZOV_APPSRVR_ROOT = /opt/shop
[AppServer:rootless]
ZOV_APPSRVR_NAME = server3
[Basic_Config:basic]
ZOV_APPSRVR_NAME = server4
ZOV_APPSRVR_ROOT = /opt/basic
[Advanced_J2EE_Config:both]
ZOV_REQ_FIXEDINTERVAL_TIME = 33
ZOV_APPSRVR_NAME = server5
ZOV_APPSRVR_ROOT = /opt/caf)"
       "\xC3\xA9\n");
  const auto server = [&](const char* name, const char* root) -> const ZOVAppServerConfigParms& {
    return *parms.getAppServerConfigParms(name, root);
  };
  for (const auto& [name, root, alias] : {std::tuple{"server1", "/opt/shop", "shop"},
                                          {"server1", "/opt/bank", "bank"},
                                          {"server5", "/opt/caf\xC3\xA9", "both"},
                                          {"server2", "/opt/other", ""},
                                          {"server3", "", ""},
                                          {"server4", "/opt/basic", ""},
                                          {"server1", "/opt/elsewhere", ""},
                                          {"SERVER1", "/opt/shop", ""}}) {
    EXPECT_EQ(server(name, root).getSubnodeAliasName(), alias) << name << root;
  }
  EXPECT_EQ(&server("server1", nullptr), &defaults());
  // A section has the defaults that stood when it was reached.
  EXPECT_EQ(server("server0", "/opt/zero").getWorkloadCapturePercent(), 2);
  EXPECT_EQ(server("server1", "/opt/shop").getWorkloadCapturePercent(), 9);
  EXPECT_EQ(server("server5", "/opt/caf\xC3\xA9").getRequestCollectPollFrequency(), 33);
  for (const char* complaint :
       {"Duplicate section shop Subnode alias already exists",
        "Duplicate section again AppServer name server1, AppServer root /opt/shop already exists",
        "Missing fields for section rootless, AppServer name server3, AppServer root "}) {
    EXPECT_TRUE(trace.has(complaint)) << complaint;
  }
}

TEST_F(ConfigParmsTest, ReadersWaitForTheFile) {
  int port = 0;
  std::thread reader([&] { port = agent().getCollectorSessionPort(); });
  read("[Advanced_Agent_Config]\nZOV_PORT = 1234\n");
  reader.join();
  EXPECT_EQ(port, 1234);
}

TEST(HistoricalCollection, ReadsItsWords) {
  constexpr unsigned int invalid = 0x80000000U;
  const struct {
    const char* words;
    unsigned int flag;
  } cases[] = {
      {"ALL", 127},  {"none", 0},        {" psi, WA ", 3},     {"LOG IVS,VERBOSEGC", 28}, {"heap,lock", 96},
      {"", invalid}, {nullptr, invalid}, {"PSI PSI", invalid}, {"PSI ALL", invalid},      {",", invalid},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(zov::historicalCollectionFlag(c.words), c.flag) << (c.words ? c.words : "(null)");
  }
}

std::string contentsOf(const std::filesystem::path& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

// The page for people names every section, key, word and environment variable of the agent.
TEST(ConfigurationPage, IsComplete) {
  std::set<std::string> names = {
#define ZOV_CONFIG_KEY(section, key, kind, target, Name, counts) "[" #section "]", "`" #key "`",
#define ZOV_CONFIG_WORD(kind, word, value) word,
#include "config/config_keys.def"
  };
  const char* sources = std::getenv("ZOV_SOURCE_DIR");
  if (sources == nullptr) GTEST_SKIP() << "ZOV_SOURCE_DIR is not set; ctest sets it to the source tree";
  const std::filesystem::path root = sources;
  const std::regex variable(R"re((?:getenv|GetEnv|FromEnvironment)\("(\w+)")re");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / "src")) {
    if (entry.path().extension() != ".cpp" || entry.path().parent_path().filename() == "ctl") continue;
    const std::string source = contentsOf(entry.path());
    for (std::sregex_iterator i(source.begin(), source.end(), variable), end; i != end; ++i) {
      names.insert("`" + (*i)[1].str() + "`");
    }
  }
  names.erase("*");  // stands for any other word
  const std::string page = contentsOf(root / "docs/configuration.md");
  for (const std::string& name : names) EXPECT_NE(page.find(name), std::string::npos) << name;
}

}  // namespace

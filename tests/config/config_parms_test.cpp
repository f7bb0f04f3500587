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

#include "platform/trace.h"
#include "support/temporary_directory.h"

namespace {

/// Writes a configuration file, has it read, and keeps the trace of the reading.
class ConfigParmsTest : public testing::Test {
 protected:
  void SetUp() override {
    DGT1_SetSink([](const char*, int, std::string_view text,
                    void* context) { static_cast<std::string*>(context)->append(text).append("\n"); },
                 &trace);
  }
  void TearDown() override { DGT1_SetSink(nullptr, nullptr); }

  void read(const std::string& text) {
    directory.write("host_ov.cfg", text);
    readWithoutFile();
  }
  void readWithoutFile() { EXPECT_EQ(parms.readFromFile(directory.file("host_").c_str()), 0); }
  ZOVAgentConfigParms& agent() { return *parms.getAgentConfigParms(); }
  ZOVAppServerConfigParms& defaults() { return *parms.getAppServerConfigParms(nullptr, nullptr); }
  /// The alias of the section that serves a server; empty for the defaults.
  std::string aliasOf(const char* name, const char* root) {
    return parms.getAppServerConfigParms(name, root)->getSubnodeAliasName().str();
  }
  bool traced(const std::string& text) const { return trace.find(text) != std::string::npos; }

  const TemporaryDirectory directory;
  std::string trace;
  ZOVConfigParms parms;
};

TEST_F(ConfigParmsTest, AnAbsentOrDamagedFileGivesTheDefaults) {
  readWithoutFile();
  EXPECT_EQ(agent().getCollectorSessionPort(), 63335);
  EXPECT_TRUE(agent().getAgentId().isNull());
  EXPECT_EQ(defaults().getName().str(), "All Application Servers default");
  EXPECT_EQ(parms.getAppServerConfigParms("server1", "/opt"), &defaults());
  read("[Advanced_Agent_Config]\nZOV_PORT = 1234\n[Broken\n");
  EXPECT_TRUE(traced("line 3"));
  EXPECT_EQ(agent().getCollectorSessionPort(), 63335);
}

TEST_F(ConfigParmsTest, ReadsEveryKey) {
  read(R"([Basic_Config]
ZOV_REQ_SAMPLEMETHOD = ONDEMAND
ZOV_RESOURCE_SAMPLEMETHOD = FIXEDINTERVAL
ZOV_GC_MONITORING = DISABLE
ZOV_REQ_MONITORING_LEVEL = LEVEL2
ZOV_RESOURCE_MONITORING = DISABLE
ZOV_ALT_NODEID = first
[Advanced_Agent_Config]
ZOV_MAX_AGENTLOG_MSGS = 7
ZOV_PORT = 1234
ZOV_ALT_NODEID = second
[Advanced_J2EE_Config]
ZOV_APPSRVR_LOGSCANINTERVAL = 11
ZOV_LOG_FORMAT = TOMCAT
ZOV_GC_LOG_SCANINTERVAL = 12
ZOV_REQ_FIXEDINTERVAL_TIME = 13
ZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 14
ZOV_RESOURCE_FIXEDINTERVAL_TIME = 15
ZOV_RESOURCE_ONDEMAND_MAXSAMPLEAGE = 16
ZOV_REQ_SAMPLE_RATE = 500
)");
  const ZOVAppServerConfigParms& d = defaults();
  const std::vector<long> values = {d.getRequestCollectAction(),
                                    d.getResourceCollectAction(),
                                    d.getGCCollectAction(),
                                    d.getWorkloadCollectLevel(),
                                    d.getResourceCollectEnabled(),
                                    agent().getLogFileMessagesMax(),
                                    agent().getCollectorSessionPort(),
                                    agent().getLogScanInterval(),
                                    d.getLogScanInterval(),
                                    d.getGCCollectPollFrequency(),
                                    d.getRequestCollectPollFrequency(),
                                    d.getRequestCollectAgeMax(),
                                    d.getResourceCollectPollFrequency(),
                                    d.getResourceCollectAgeMax(),
                                    d.getWorkloadCapturePercent()};
  EXPECT_EQ(values, (std::vector<long>{1, 2, 0, 2, 0, 7, 1234, 11, 11, 12, 13, 14, 15, 16, 500}));
  EXPECT_EQ(agent().getAgentId().str(), "second");
  EXPECT_EQ(d.getLogFormat().str(), "TOMCAT");
  EXPECT_EQ(trace, "") << "nothing to complain about";
}

TEST_F(ConfigParmsTest, AValueThatCannotBeReadLeavesWhatWas) {
  enum Value { Port, Action, Level };
  const struct {
    const char* section;
    const char* line;
    Value value;
    int expected;
    bool complains;
  } cases[] = {
      {"Advanced_Agent_Config", "ZOV_PORT = abc", Port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT =", Port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT = 99999999999", Port, 63335, true},
      {"Advanced_Agent_Config", "ZOV_PORT = 0", Port, 0, false},
      {"Advanced_Agent_Config", "ZOV_PORT = +12x", Port, 12, false},
      {"Advanced_Agent_Config", "ZOV_PORT = -12", Port, -12, false},
      {"Advanced_Agent_Config", "zov_port = 12", Port, 63335, true},
      {"Basic_Config", "ZOV_PORT = 12", Port, 63335, true},
      {"basic_config", "ZOV_REQ_SAMPLEMETHOD = ONDEMAND", Action, 2, true},
      {"Basic_Config", "ZOV_REQ_SAMPLEMETHOD = FIXED", Action, 2, false},
      {"Basic_Config", "ZOV_REQ_SAMPLEMETHOD = ondemand", Action, 2, false},
      {"Basic_Config", "ZOV_REQ_MONITORING_LEVEL = LEVEL3", Level, 1, true},
      {"Basic_Config", "ZOV_REQ_MONITORING_LEVEL = DISABLE", Level, 0, false},
  };
  for (const auto& c : cases) {
    trace.clear();
    directory.write("host_ov.cfg", std::string("[") + c.section + "]\n" + c.line + "\n");
    ZOVConfigParms fresh;
    fresh.readFromFile(directory.file("host_").c_str());
    const ZOVAppServerConfigParms& server = *fresh.getAppServerConfigParms(nullptr, nullptr);
    const int values[] = {fresh.getAgentConfigParms()->getCollectorSessionPort(),
                          server.getRequestCollectAction(), server.getWorkloadCollectLevel()};
    EXPECT_EQ(values[c.value], c.expected) << c.line;
    EXPECT_EQ(!trace.empty(), c.complains) << c.line << ": " << trace;
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
  EXPECT_EQ(aliasOf("server1", "/opt/shop"), "shop");
  EXPECT_EQ(aliasOf("server1", "/opt/bank"), "bank");
  EXPECT_EQ(aliasOf("server5", "/opt/caf\xC3\xA9"), "both");
  for (const auto& [name, root] : {std::pair{"server2", "/opt/other"},
                                   {"server3", ""},
                                   {"server4", "/opt/basic"},
                                   {"server1", "/opt/elsewhere"},
                                   {"SERVER1", "/opt/shop"}}) {
    EXPECT_EQ(parms.getAppServerConfigParms(name, root), &defaults()) << name;
  }
  EXPECT_EQ(parms.getAppServerConfigParms("server1", nullptr), &defaults());
  // A section has the defaults that stood when it was reached.
  EXPECT_EQ(parms.getAppServerConfigParms("server0", "/opt/zero")->getWorkloadCapturePercent(), 2);
  EXPECT_EQ(parms.getAppServerConfigParms("server1", "/opt/shop")->getWorkloadCapturePercent(), 9);
  EXPECT_EQ(parms.getAppServerConfigParms("server5", "/opt/caf\xC3\xA9")->getRequestCollectPollFrequency(),
            33);
  EXPECT_TRUE(traced("Duplicate section shop Subnode alias already exists"));
  EXPECT_TRUE(
      traced("Duplicate section again AppServer name server1, AppServer root /opt/shop already exists"));
  EXPECT_TRUE(traced("Missing fields for section rootless, AppServer name server3, AppServer root "));
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

// The page for people names every section, key, word and environment variable.
TEST(ConfigurationPage, IsComplete) {
  std::set<std::string> names = {
#define ZOV_CONFIG_KEY(section, key, kind, target, Name) "[" #section "]", "`" #key "`",
#define ZOV_CONFIG_WORD(kind, word, value) word,
#include "config/config_keys.def"
  };
  const char* sources = std::getenv("ZOV_SOURCE_DIR");
  if (sources == nullptr) GTEST_SKIP() << "ZOV_SOURCE_DIR is not set; ctest sets it to the source tree";
  const std::filesystem::path root = sources;
  const std::regex variable(R"re((?:getenv|GetEnv|FromEnvironment)\("(\w+)")re");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root / "src")) {
    if (entry.path().extension() != ".cpp") continue;
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

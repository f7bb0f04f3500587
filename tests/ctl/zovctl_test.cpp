// zovctl as its users have it: the program beside a real agent, in a terminal and without one.

#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "support/agent_process.h"
#include "support/fake_collector.h"
#include "support/terminal_process.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

using Words = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

struct Outcome {
  int status;
  std::string out, err;
};

std::string contentsOf(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string binary() {
  return std::getenv("ZOV_TEST_CTL");
}

/// What the program says to these arguments, in a directory where there is nothing but perhaps an agent's.
Outcome zovctl(const Words& words, const Environment& environment = {}, const std::string& agentOfTree = "") {
  const TemporaryDirectory directory;
  if (!agentOfTree.empty()) {
    std::filesystem::create_directory(directory.file("build"));
    std::filesystem::create_symlink(agentOfTree, directory.file("build/agent"));
  }
  const pid_t pid = ::fork();
  if (pid == 0) {
    for (const char* name : {"ZOV_CONFIG_DIR", "ZOV_HUB_ADDRESS", "ZOV_HUB_TOKEN"}) ::unsetenv(name);
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    if (::chdir(directory.path().c_str()) != 0) ::_exit(126);
    const auto redirect = [&](const char* file, int to) {
      ::dup2(::open(directory.file(file).c_str(), O_WRONLY | O_CREAT, 0600), to);
    };
    redirect("out", STDOUT_FILENO);
    redirect("err", STDERR_FILENO);
    const std::string program = binary();
    std::vector<char*> arguments{const_cast<char*>(program.c_str())};
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(program.c_str(), arguments.data());
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentsOf(directory.file("out")),
          contentsOf(directory.file("err"))};
}

constexpr long long NoProcess = 4194305;  // above all that Linux gives

WireFrame request(const std::string& name, long long count, long long milliseconds) {
  return wireSample(31)
      .number(21, 10)
      .number(700, 1)
      .number(703, count)
      .number(704, milliseconds)
      .number(4, NoProcess)
      .number(314, 10'000)
      .text(701, "app")
      .text(702, name);
}

/// An agent with two servers, whose requests each query takes anew.
class Zovctl : public testing::Test {
 protected:
  void SetUp() override {
    agent.configureMore(
        "[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ONDEMAND\n"
        "[Advanced_J2EE_Config]\nZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 0\n");
    ASSERT_NO_FATAL_FAILURE(agent.start());
    shop.emplace(agent.collectorPort());
    bank.emplace(agent.collectorPort());
    serve(*shop, "shop", {request("buy", 10, 500), request("look", 30, 300), request(Evil, 1, 1)});
    serve(*bank, "bank", {request("pay", 20, 40)});
    node = "shop:" + shortHostName() + ":ZOVS";
    address = "127.0.0.1:" + std::to_string(agent.httpPort());
    environment = {{"ZOV_HUB_ADDRESS", address}, {"ZOV_CONFIG_DIR", agent.directory()}};
  }
  static void serve(FakeCollector& collector, const std::string& name, std::vector<WireFrame> samples) {
    ASSERT_TRUE(collector.send(wirePing(7, name, "/srv/" + name, NoProcess)));
    collector.serve(std::move(samples));
    ASSERT_TRUE(collector.waitForRequest(2));
  }
  /// What a script for bash leaves in the file "reply".
  std::string bash(const std::string& script) const {
    const TemporaryDirectory directory;
    TerminalProcess shell(
        {"/bin/bash", "-c",
         "cd " + directory.path() + "; ZOV_HUB_ADDRESS=" + address + "; export ZOV_HUB_ADDRESS; " + script},
        80, 24);
    EXPECT_EQ(shell.end(), 0) << shell.screen();
    return contentsOf(directory.file("reply"));
  }
  std::vector<std::string> top() const { return {binary(), "-a", address, "top", "-d", "0.2"}; }
  /// The screen, or a page, without what differs between runs.
  std::string still(std::string text) const {
    text = std::regex_replace(text, std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}"), "TIME");
    for (const auto& [changing, name] : {std::pair{address, "AGENT"}, {node, "NODE"}}) {
      for (std::size_t at; (at = text.find(changing)) != std::string::npos;)
        text.replace(at, changing.size(), name);
    }
    return text;
  }

  /// A request that would write to a terminal's title, and colour it.
  static constexpr const char* Evil = "\033]0;evil\a\xC2\x9B\x33m\xE2\x80\xAEx";

  AgentProcess agent;
  std::optional<FakeCollector> shop, bank;
  std::string node, address;
  Environment environment;
};

}  // namespace

TEST_F(Zovctl, ListsShowsAndActs) {
  const struct {
    Words words;
    int status;
    const char *out, *err;  // regular expressions
  } cases[] = {
      {{"nodes"}, 0, "NODE +STATUS.*shop:.*:ZOVS +connected +shop +4194305", "^$"},
      {{"tables"}, 0, "ZOVPREV +9 +yes", "^$"},
      {{"tables", "ZOVREQUEST"}, 0, "request_time_mean +c10 +ms ", "^$"},
      {{"rows", "ZOVREQUEST", "-c", "request_name,c10", "--order", "-request_time_mean", "-l", "2"},
       0,
       "^request_name +request_time_mean/ms\nbuy +50\nlook +10\n$",
       "^$"},
      {{"rows", "ZOVREQUEST", "--where", "request_name=look", "-n", node, "-o", "csv"},
       0,
       "^node,.*\r\n.*,look,30,",
       "^$"},
      {{"rows", "ZOVREQUEST", "--limit", "1", "--order=c7", "-o", "json"}, 0, "request_count.:1,", "^$"},
      {{"rows", "ZOVREQUEST", "-c", "request_name"}, 0, "\\?]0;evil\\?\\?3m\\?x\n", "^$"},
      {{"rows", "ZOVREQUEST", "-w", "server=none"}, 0, "^$", "no_data"},
      {{"events"}, 0, "agent ZOVA0001 ", "^$"},
      {{"act", node, "SetRequestSamplingRate", "50"}, 0, ": done \\(OK\\)", "^$"},
      // What is wrong: what was given, what is accepted.
      {{"rows", "ZOVREQEST"}, 1, "^$", "no table ZOVREQEST. Did you mean ZOVREQUEST\\?"},
      {{"rows", "ZOVREQUEST", "--order", "reqest_name"},
       1,
       "^$",
       "no column reqest_name. Did you mean request_name\\?"},
      {{"rows", "ZOVREQUEST", "-w", "q=1"}, 1, "^$", "Known are node, server, "},
      {{"rows", "ZOVREQUEST", "-w", "q"}, 2, "^$", "'q'; accepted is COLUMN=VALUE"},
      {{"rows", "ZOVREQUEST", "-n", "x" + node}, 1, "^$", "no node xshop.*Did you mean shop:"},
      {{"rows", "ZOVREQUEST", "-n", "x" + node, "-o", "json"}, 1, "^$", "no node xshop.*Did you mean shop:"},
      {{"rows", "ZOVREQ"}, 1, "^$", "Did you mean ZOVREQUEST or ZOVREQSEL or ZOVREQHIS\\?"},
      {{"rows", "ZOVREQUEST", "-o", "xml"}, 2, "^$", "table,json,csv"},
      {{"rows"}, 2, "^$", "table is required"},
      {{"events", "ZOVAPP"}, 1, "^$", "no events of ZOVAPP. Known are ZOVLOGANAL, ZOVPREV"},
      {{"act", node, "Dance\033"}, 1, "^$", "Dance\\?.*bad_command.*Commands are StartRequestMonitor, "},
      {{"act", node + "x", "StopGCMonitor"}, 1, "^$", "no node .*Did you mean shop:"},
      {{"act", node, "StopAppSvr", "it's me"}, 2, "^$", "holds a single quote"},
      {{"node"}, 2, "^$", "no command node. Did you mean nodes\\?"},
      {{}, 2, "^$", "No command is given. Known are top, nodes, "},
      {{"--version"}, 0, "^zovctl [0-9.]+\n$", "^$"},
      {{"-a", "nowhere", "nodes"}, 2, "^$", "'nowhere'; accepted are HOST:PORT"},
      {{"-a", "127.0.0.1:1", "nodes"}, 3, "^$", "127.0.0.1:1 does not answer: .*--agent HOST:PORT"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = zovctl(c.words, environment);
    SCOPED_TRACE(testing::PrintToString(c.words));
    EXPECT_EQ(outcome.status, c.status) << outcome.err;
    const auto matches = [](const std::string& text, const char* expression) {
      std::string line = text;
      std::replace(line.begin(), line.end(), '\n', '\x01');
      std::string pattern = expression;
      std::replace(pattern.begin(), pattern.end(), '\n', '\x01');
      return std::regex_search(line, std::regex(pattern));
    };
    EXPECT_TRUE(matches(outcome.out, c.out)) << outcome.out;
    EXPECT_TRUE(matches(outcome.err, c.err)) << outcome.err;
    EXPECT_EQ(outcome.out.find('\033'), std::string::npos);
    EXPECT_EQ(outcome.err.find('\033'), std::string::npos);
  }
}

// The command line's list of commands is that of the agent: none of them is unknown there.
TEST_F(Zovctl, OffersWhatThereIsAndNothingElse) {
  const auto offers = [&](Words words) {
    words.insert(words.begin(), "complete");
    return zovctl(words, environment).out;
  };
  EXPECT_EQ(offers({""}), "top\nnodes\ntables\nrows\nevents\nact\ncheck\ncompletion\n");
  EXPECT_EQ(offers({"rows", "ZOVREQ"}), "ZOVREQUEST\nZOVREQSEL\nZOVREQHIS\n");
  EXPECT_EQ(offers({"rows", "ZOVREQUEST", "-w", "request_time_"}), "request_time_mean=\n");
  EXPECT_EQ(offers({"rows", "ZOVREQUEST", "--ord"}), "--order\n");
  EXPECT_EQ(offers({"-a", address, "act", "shop"}), node + "\n");
  EXPECT_EQ(offers({"-a", "127.0.0.1:1", "act", ""}), "");
  const std::string line = "zovctl act " + node.substr(0, node.find(':') + 1);
  const std::string script =
      "source <($ZOV_TEST_CTL completion bash); PATH=$(dirname $ZOV_TEST_CTL):$PATH; COMP_LINE='" + line +
      "'; COMP_POINT=${#COMP_LINE}; _zovctl; echo \"${COMPREPLY[*]}\" >reply";
  EXPECT_EQ(bash(script), node.substr(node.find(':') + 1) + "\n");
  std::istringstream commands(offers({"act", node, ""}));
  int count = 0;
  for (std::string command; commands >> command; ++count) {
    if (command.ends_with("AppSvr")) continue;  // would run scripts
    EXPECT_THAT(zovctl({"act", node, command}, environment).err, Not(HasSubstr("bad_command"))) << command;
  }
  EXPECT_EQ(count, 11);
}

TEST_F(Zovctl, FindsTheTokenOrSaysWhereItLooked) {
  const Words act{"act", node, "SetRequestSamplingRate"};
  EXPECT_EQ(zovctl(act, {{"ZOV_HUB_ADDRESS", address}, {"ZOV_HUB_TOKEN", "not the agent's"}}).status, 4);
  const Outcome lost = zovctl(act, {{"ZOV_HUB_ADDRESS", address}, {"ZOV_CONFIG_DIR", "/nonexistent"}});
  EXPECT_EQ(lost.status, 4);
  EXPECT_THAT(lost.err, AllOf(HasSubstr("/nonexistent/hub.token (No such file"),
                              HasSubstr("build/agent/hub.token"), HasSubstr("Set ZOV_HUB_TOKEN")));
  // A kept one stays on this host, whatever its address begins with.
  for (const char* elsewhere :
       {"192.0.2.7:1", "127.example.invalid:1", "http://localhost:1@example.invalid:1"}) {
    EXPECT_THAT(zovctl(act, {{"ZOV_HUB_ADDRESS", elsewhere}, {"ZOV_CONFIG_DIR", agent.directory()}}).err,
                HasSubstr("the agent is on another host"));
  }
  // One that is not the agent's is passed over.
  const TemporaryDirectory other;
  other.write("hub.token", "0123456789abcdef0123456789abcdef\n");
  const Environment others{{"ZOV_HUB_ADDRESS", address}, {"ZOV_CONFIG_DIR", other.path()}};
  EXPECT_EQ(zovctl(act, others).status, 4);
  EXPECT_EQ(zovctl(act, others, agent.directory()).status, 0);
}

TEST_F(Zovctl, FollowsEventsThroughARestartOfTheAgent) {
  TerminalProcess events({binary(), "-a", address, "events", "-f"}, 150, 50);
  ASSERT_TRUE(events.shows("agent ZOVA0007 Application server shop discovered."));  // that were before
  agent.stop(SIGTERM);
  ASSERT_TRUE(events.shows("The stream has ended; trying again"));
  agent.setEnvironment("ZOV_HUB_ADDRESS", address);
  ASSERT_NO_FATAL_FAILURE(agent.start());
  FakeCollector third(agent.collectorPort());
  serve(third, "third", {});
  EXPECT_TRUE(events.shows("agent ZOVA0007 Application server third discovered."));
  EXPECT_EQ(events.end(SIGTERM), 256 + SIGTERM);
}

TEST_F(Zovctl, ShowsTopInEightyColumns) {
  const std::string lists =
      "Servers\n"
      " server        status           pid version cpu %   heap MiB threads gc % errors\n"
      " bank          connected    4194305 -           -        -/-       -    -      -\n"
      " shop          connected    4194305 -           -        -/-       -    -      -\n"
      "\n"
      "Requests in the last interval, by time in all\n"
      " server     application request              count  per s mean ms longest all ms\n"
      ">shop       app         buy                     10    1.0      50       -    500\n"
      " shop       app         look                    30    3.0      10       -    300\n"
      " bank       app         pay                     20    2.0       2       -     40\n"
      " shop       app         ?]0;evil??3m?x           1    0.1       1       -      1\n";
  const std::string keys = "q ends  h help  n c p m x t sort  r reverse  s server  / filter  Enter details\n";
  TerminalProcess terminal(top(), 80, 24);
  ASSERT_TRUE(terminal.shows(keys));
  EXPECT_EQ(still(terminal.screen()),
            "zovctl top  TIME  http://AGENT  servers 2, connected 2, requests 4\n\n" + lists +
                std::string(10, '\n') + keys);
  EXPECT_EQ(terminal.settings().c_lflag & (ICANON | ECHO), 0U);
  EXPECT_FALSE(terminal.isOverrun());

  const Outcome page = zovctl({"top"}, environment);
  std::string plain = lists;
  plain[plain.find('>')] = ' ';
  EXPECT_EQ(page.out, plain);

  shop->setSamples({request("buy", 10, 500), request("sell", 7, 70)});
  EXPECT_TRUE(terminal.shows("sell"));
  terminal.resize(100, 14);
  EXPECT_TRUE(
      terminal.shows("server     application request                                  count  per s mean ms "
                     "longest all ms\n"));
  agent.stop(SIGKILL);
  EXPECT_TRUE(terminal.shows("does not answer: "));
  EXPECT_TRUE(terminal.shows("buy"));
}

TEST_F(Zovctl, ObeysTheKeysOfTop) {
  const struct {
    const char* keys;
    std::string shown;  // line ends are "\n"
  } steps[] = {
      {"c",
       "by count\n server     application request              count  per s mean ms longest all ms\n"
       ">shop       app         look                    30"},
      {"c",
       "by count, reversed\n server     application request              count  per s mean ms longest all "
       "ms\n"
       ">shop       app         ?]0;evil??3m?x           1"},
      {"n",
       "by name\n server     application request              count  per s mean ms longest all ms\n>bank "},
      {"\033[B", "\n>shop       app         ?]0;evil"},
      {"s", ", of bank:"},
      {"s",
       "longest all ms\n>app         ?]0;evil??3m?x                      1    0.1       1       -      1\n"
       " app         buy                                10"},
      {"/oo", "Only what has in its names: oo_"},
      {"\r",
       "with oo\n application request                         count  per s mean ms longest all ms\n"
       ">app         look                               30    3.0      10       -    300\n\n"},
      {"\r", "\napp: look, on shop:"},
      {"", "When the sample was taken,\n" + std::string(54, ' ') + "CYY"},
      {"jjjjjjjj", "request_time_mean          10 ms"},
      {"\033", "\n>app         look "},
      {"h", "n c p m x t   sort requests: "},
  };
  TerminalProcess terminal(top(), 80, 24);
  for (const auto& step : steps) {
    terminal.press(step.keys);
    EXPECT_TRUE(terminal.shows(step.shown)) << step.keys;
  }
  terminal.press("q");
  EXPECT_EQ(terminal.end(), 0);
}

// Whatever ends or stops it, the terminal is as it was.
TEST_F(Zovctl, PutsTheTerminalBack) {
  const std::string left = "\033[0m\033[?25h\033[?1049l";
  const struct {
    const char* keys;
    int signal, status;
  } cases[] = {{"q", 0, 0},
               {"\003", 0, 0},
               {"", SIGTERM, 0},
               {"", SIGHUP, 0},
               {"", SIGQUIT, 0},
               {"", SIGSEGV, 256 + SIGSEGV},
               {"", SIGABRT, 256 + SIGABRT}};
  for (const auto& c : cases) {
    TerminalProcess terminal(top(), 80, 24);
    const termios before = terminal.settings();
    ASSERT_TRUE(terminal.shows("pay"));
    terminal.press(c.keys);
    EXPECT_EQ(terminal.end(c.signal), c.status) << c.keys << c.signal;
    EXPECT_THAT(terminal.written(), EndsWith(left)) << c.signal;
    EXPECT_EQ(terminal.settings().c_lflag, before.c_lflag);
  }
  TerminalProcess held(top(), 80, 24);
  ASSERT_TRUE(held.shows("pay"));
  held.press("\023");  // Ctrl-S: the terminal takes nothing any more
  EXPECT_EQ(held.end(SIGTERM), 0);
  TerminalProcess terminal(top(), 80, 24);
  ASSERT_TRUE(terminal.shows("pay"));
  terminal.press("\032");
  EXPECT_TRUE(terminal.stops());
  EXPECT_THAT(terminal.written(), EndsWith(left));
  terminal.resize(80, 24);
  terminal.goOn();
  EXPECT_TRUE(terminal.shows("pay"));
}

TEST_F(Zovctl, ColoursATerminalOnlyAndSendsItNothingToObey) {
  const Words rows{binary(), "-a", address, "rows", "ZOVREQUEST", "-c", "request_name", "-o"};
  for (const char* form : {"json", "csv", "table"}) {
    Words words = rows;
    words.emplace_back(form);
    TerminalProcess terminal(words, 80, 24);
    EXPECT_EQ(terminal.end(), 0);
    EXPECT_THAT(terminal.written(), AllOf(HasSubstr("evil"), Not(HasSubstr("\033]")), Not(HasSubstr("\a")),
                                          Not(HasSubstr("\xC2\x9B"))));
  }
  for (const auto& [plain, colours] : {std::pair{"", true}, {"1", false}}) {
    ASSERT_EQ(::setenv("NO_COLOR", plain, 1), 0);
    TerminalProcess terminal(top(), 80, 24);
    ::unsetenv("NO_COLOR");
    ASSERT_TRUE(terminal.shows("pay"));
    EXPECT_EQ(terminal.written().find("\033[32m") != std::string::npos, colours);
  }
}

TEST(ZovctlCheck, SaysLineByLineWhatIsNotUsed) {
  const TemporaryDirectory directory;
  const auto check = [&](const std::string& text) {
    const std::string file = directory.write(shortHostName() + "_ov.cfg", text);
    Outcome outcome = zovctl({"check", directory.path()});
    for (std::size_t at; (at = outcome.out.find(file)) != std::string::npos;)
      outcome.out.replace(at, file.size(), "F");
    return outcome;
  };
  const struct {
    const char *text, *found;  // a regular expression
  } cases[] = {
      {"[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ONDEMAND\n", "^F: the agent uses all of it.$"},
      {"[Basic_Config]\nZOV_REQ_SAMPLEMETOD = ONDEMAND\n",
       "^F:2: .* not known .*Did you mean ZOV_REQ_SAMPLEMETHOD\\?$"},
      {"[Basic_Config]\nZOV_PORT = 1\n", "^F:2: .*ZOV_PORT stands in section Advanced_Agent_Config.$"},
      {"\n[Basic_Conf]\nA = 1\n", "^F:2: .*section Basic_Conf is not known.*Did you mean Basic_Config\\?$"},
      {"[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ondemand\n", "^F:2: .*Did you mean ONDEMAND\\?$"},
      {"[Basic_Config]\nZOV_REQ_MONITORING_LEVEL = 9\n",
       "^F:2: .*accepted is one of DISABLE, LEVEL1, LEVEL2"},
      {"[Advanced_Agent_Config]\nZOV_PORT = 60s\nZOV_MAX_AGENTLOG_MSGS = x\n",
       "^F:2: ZOV_PORT = 60s counts as 60; .*\nF:3: .*a whole number"},
      {"[Advanced_Agent_Config]\nZOV_PORT = 70000\nZOV_PORT = 70001\n",
       "^F:2: .*stands again in line 3.\nF:3: .*outside 0 to 65535; 63335 is used"},
      {"[Advanced_J2EE_Config]\nZOV_LOG_FORMAT = XML\nZOV_APPSRVR_LOGSCANINTERVAL = 0\n",
       "^F:2: .*accepted are ACTIVITY.*\nF:3: .*outside 1 to 3600; 60 is used"},
      {"[A:shop]\nZOV_APPSRVR_NAEM = shop\nZOV_APPSRVR_ROOT = /srv\n",
       "^F:1: Missing fields for section shop.*\nF:2: .*Did you mean ZOV_APPSRVR_NAME\\?$"},
      {"[Basic_Config\nx\n",
       "^F:1: found '\\[Basic_Config'.*\nF:2: found 'x', .*accepted are \\[NAME\\].*\nF: the agent uses "
       "nothing of it"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = check(c.text);
    EXPECT_TRUE(std::regex_search(outcome.out, std::regex(c.found, std::regex::multiline)))
        << c.text << outcome.out;
    EXPECT_EQ(outcome.status, outcome.out.find(": the agent uses all") == std::string::npos ? 1 : 0);
    EXPECT_EQ(outcome.err, "");
  }
  EXPECT_THAT(zovctl({"check", "/nonexistent"}).out, HasSubstr("/nonexistent: No such file"));
  EXPECT_THAT(zovctl({"check"}, {{"ZOV_CONFIG_DIR", "/nonexistent"}}).err, HasSubstr("/nonexistent/"));
  const Outcome unreadable = zovctl({"check"}, {{"ZOV_CONFIG_DIR", std::string(NAME_MAX + 1, 'x')}});
  EXPECT_EQ(unreadable.status, 1);
  EXPECT_THAT(unreadable.err, HasSubstr("ov.cfg (File name too long)"));
}

// The help, the man page and the page for people have the same commands and options.
TEST(ZovctlPages, AreComplete) {
  const char* const sources = std::getenv("ZOV_SOURCE_DIR");
  ASSERT_NE(sources, nullptr);
  const std::string page = contentsOf(std::string(sources) + "/docs/zovctl.md");
  std::string manual = contentsOf(std::string(sources) + "/packaging/zovctl.1");
  manual.erase(std::remove(manual.begin(), manual.end(), '\\'), manual.end());
  std::istringstream commands(zovctl({"complete", ""}).out);
  const std::regex option("--[a-z]+");
  for (std::string command; commands >> command;) {
    EXPECT_THAT(page, HasSubstr("`" + command));
    EXPECT_THAT(manual, ContainsRegex("\n\\.BR? " + command));
    const std::string help = zovctl({command, "--help"}).out;
    for (std::sregex_iterator i(help.begin(), help.end(), option), end; i != end; ++i) {
      if (i->str() == "--help") continue;
      EXPECT_THAT(page, HasSubstr(i->str())) << command;
      EXPECT_THAT(manual, HasSubstr(i->str())) << command;
    }
  }
}

#include "platform/vpd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using namespace std::string_literals;

/// "NAME:id{name=value;...}" for each section.
std::string shown(const VPD::AgentConfig& config) {
  const VPD::ConfigBase* instance = config.getInstance("");
  if (!instance) return "nothing";
  std::string text;
  for (unsigned int s = 0; s < instance->getNumSections(); ++s) {
    const VPD::ConfigSection& section = *instance->getSection(s);
    text += section.getName().c_str();
    if (section.getID().c_str()) text += std::string(":") + section.getID().c_str();
    text += "{";
    const VPD::Array<VPD::String> names = section.getEntryNames();
    for (unsigned int e = 0; e < names.getSize(); ++e) {
      VPD::String value;
      EXPECT_TRUE(section.getEntryValue(names[e], value));
      text += std::string(names[e].c_str()) + "=" + value.c_str() + ";";
    }
    text += "}";
  }
  return text;
}

TEST(ConfigFile, Syntax) {
  const std::string value(100'000, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"[A]\nk=v\n[A]\n[B]\nx=1", "A{k=v;}A{}B{x=1;}"},
      {"\xEF\xBB\xBF[A]\r\nk = v \r\n\r\n", "A{k=v;}"},
      {"# c\n  ; c\n \t [ A : the id ] \n\t k\t=\tv w\t", "A:the id{k=v w;}"},
      {"[A:b:c]\nk=a=b # no ; comment\ne=\n", "A:b:c{k=a=b # no ; comment;e=;}"},
      {"[A]\nk=1\nK=2\nk=3", "A{k=3;K=2;k=3;}"},
      {"[A]\nk=\xC3\xA9\xFF", "A{k=\xC3\xA9\xFF;}"},
      {"[A]\nk=" + value, "A{k=" + value + ";}"},
  };
  for (const auto& [text, expected] : cases) {
    VPD::ConfigParser parser;
    VPD::AgentConfig config;
    EXPECT_TRUE(parser.parseConfigFromText("test", text, &config)) << parser.getError();
    EXPECT_EQ(shown(config), expected);
  }
}

TEST(ConfigFile, BadLineIsNamedAndNothingIsTaken) {
  const struct {
    std::string text;
    const char *line, *found;
  } cases[] = {
      {"k = v", "line 1", "'k = v', an entry ahead of the first section"},
      {"[A]\nk=v\nnonsense\n", "line 3", "'nonsense', neither a section nor an entry"},
      {"[A]\r\n\r\n= v\r\n", "line 3", "'= v', the entry has no name"},
      {"[A", "line 1", "'[A', the section has no closing bracket"},
      {"[A] # x", "line 1", "no closing bracket at the end"},
      {"[]", "line 1", "no name"},
      {"[ : id]", "line 1", "no name"},
      {"[A: ]", "line 1", "no id"},
      {"[A]]", "line 1", "a bracket inside"},
      {"[A]\nk\0=v"s, "line 2", "'k?=v', the line holds a zero byte"},
      {std::string(59, 'x') + "\xC3\xA9" + std::string(1000, 'y'), "line 1",
       "'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...'"},
  };
  for (const auto& c : cases) {
    const TraceCapture trace("MESSAGE");
    VPD::ConfigParser parser;
    VPD::AgentConfig config;
    EXPECT_FALSE(parser.parseConfigFromText("host_ov.cfg", c.text, &config)) << c.text;
    EXPECT_THAT(parser.getError(), AllOf(HasSubstr("host_ov.cfg, "), HasSubstr(c.line), HasSubstr(c.found),
                                         HasSubstr("[NAME:id]"), HasSubstr("all values stay")));
    EXPECT_TRUE(trace.has(parser.getError()));
    EXPECT_EQ(shown(config), "nothing");
  }
}

TEST(ConfigFile, FileThatCannotBeReadIsNamed) {
  const TemporaryDirectory directory;
  const std::string pipe = directory.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::pair<std::string, const char*> cases[] = {
      {directory.file("missing"), "No such file"},
      {directory.path(), "not a regular file"},
      {pipe, "not a regular file"},
      {directory.write("large", std::string(VPD::ConfigParser::maximumFileSize + 1, '#')), "larger than"},
      {directory.write("bad", "[A]\nq=v\n["), "line 3"},
  };
  const TraceCapture trace("MESSAGE");
  VPD::AgentConfig config;
  EXPECT_TRUE(
      VPD::ConfigParser().parseConfigFromFile(directory.write("good", "[A]\nk=v\n").c_str(), &config));
  for (const auto& [path, why] : cases) {
    VPD::ConfigParser parser;
    EXPECT_FALSE(parser.parseConfigFromFile(path.c_str(), &config)) << path;
    EXPECT_THAT(parser.getError(), AllOf(HasSubstr(path), HasSubstr(why)));
    EXPECT_EQ(shown(config), "A{k=v;}");
  }
  EXPECT_EQ(config.getInstance("other"), nullptr);
  EXPECT_EQ(config.getInstance("")->getSection(1), nullptr);
}

}  // namespace

#include "platform/vpd.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVVPDCF");

namespace VPD {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t mostErrors = 100;
constexpr const char* accepted =
    "accepted are [NAME], [NAME:id], NAME = value, empty lines, and comments that begin with # or ;";

std::string_view trim(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\v\f";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// A line as it can be shown: cut between characters, and without control characters.
std::string shown(std::string_view line) {
  constexpr std::size_t most = 60;
  const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  std::size_t length = std::min(line.size(), most);
  while (length > 0 && length < line.size() && isContinuation(line[length])) --length;
  std::string text(line.substr(0, length));
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return length < line.size() ? text + "..." : text;
}

/// Takes lines into an instance.
class Reader {
 public:
  /// What is wrong with the line, or an empty text.
  std::string take(std::string_view line, unsigned int number) {
    if (line.empty() || line.front() == '#' || line.front() == ';') return {};
    if (line.find('\0') != std::string_view::npos) return "the line holds a zero byte";
    return line.front() == '[' ? takeSection(line, number) : takeEntry(line, number);
  }
  ConfigBase result() { return std::move(_instance); }

 private:
  std::string takeSection(std::string_view line, unsigned int number) {
    if (line.back() != ']') return "the section has no closing bracket at the end of its line";
    const std::string_view inside = line.substr(1, line.size() - 2);
    if (inside.find_first_of("[]") != std::string_view::npos)
      return "a bracket inside the section's brackets";
    const std::size_t colon = inside.find(':');
    const std::string_view name = trim(inside.substr(0, colon));
    if (name.empty()) return "the section has no name";
    String id;
    if (colon != std::string_view::npos) {
      const std::string_view text = trim(inside.substr(colon + 1));
      if (text.empty()) return "the section has a colon and no id behind it";
      id = String(text);
    }
    _section = &_instance.addSection({String(name), std::move(id), number});
    return {};
  }

  std::string takeEntry(std::string_view line, unsigned int number) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return "neither a section nor an entry";
    const std::string_view name = trim(line.substr(0, equals));
    if (name.empty()) return "the entry has no name";
    if (!_section) return "an entry ahead of the first section";
    _section->addEntry({String(name), String(trim(line.substr(equals + 1))), number});
    return {};
  }

  ConfigBase _instance;
  ConfigSection* _section = nullptr;  // the last of _instance
};

/// Reads a regular file of limited size. Answers why it cannot be read, or an empty text.
std::string readFile(CharStar path, std::string& text) {
  const auto systemError = [] { return std::generic_category().message(errno); };
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return systemError();
  struct Closer {
    int descriptor;
    ~Closer() { ::close(descriptor); }
  } const closer{descriptor};
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return systemError();
  if (!S_ISREG(status.st_mode)) return "it is not a regular file";
  for (;;) {
    char chunk[16 * 1024];
    const ssize_t count = ::read(descriptor, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return systemError();
    if (count == 0) return {};
    text.append(chunk, static_cast<std::size_t>(count));
    if (text.size() > ConfigParser::maximumFileSize) {
      return fmt::format("it is larger than {} bytes", ConfigParser::maximumFileSize);
    }
  }
}

}  // namespace

Array<String> ConfigSection::getEntryNames() const {
  Array<String> names;
  for (const ConfigEntry& entry : _entries) names.add(entry.name);
  return names;
}

bool ConfigSection::getEntryValue(const String& name, String& value) const {
  const auto entry = std::find_if(_entries.rbegin(), _entries.rend(),
                                  [&](const ConfigEntry& known) { return known.name == name; });
  if (entry == _entries.rend()) return false;
  value = entry->value;
  return true;
}

const ConfigBase* AgentConfig::getInstance(const String& name) const {
  return _instance && name == "" ? &*_instance : nullptr;
}

bool ConfigParser::fail(const std::string& why) {
  _error = why + ". The file is not used, and all values stay as they were.";
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "%s", _error.c_str());
  return false;
}

bool ConfigParser::parseConfigFromFile(CharStar path, AgentConfig* config) {
  if (!path) path = "";
  std::string text;
  const std::string why = readFile(path, text);
  if (!why.empty()) {
    _errors = {{0, why}};
    return fail(fmt::format("Configuration file {} cannot be read: {}", path, why));
  }
  return parseConfigFromText(path, text, config);
}

bool ConfigParser::parseConfigFromText(CharStar name, std::string_view text, AgentConfig* config) {
  _error.clear();
  _errors.clear();
  if (!name) name = "";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  Reader reader;
  for (unsigned int number = 1; !text.empty() && _errors.size() < mostErrors; ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trim(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::string why = reader.take(line, number);
    if (!why.empty())
      _errors.push_back({number, fmt::format("found '{}', {}; {}", shown(line), why, accepted)});
  }
  if (!_errors.empty()) {
    return fail(
        fmt::format("Configuration file {}, line {}: {}", name, _errors.front().line, _errors.front().text));
  }
  config->setInstance(reader.result());
  return true;
}

bool ConfigParser::parseConfig(const String&, const String&, AgentConfig*) {
  return false;
}

}  // namespace VPD

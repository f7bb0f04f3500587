#include "platform/trace.h"

#include <fcntl.h>
#include <fmt/args.h>
#include <fmt/printf.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <list>
#include <utility>
#include <vector>

#include "platform/cancellation.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/services.h"

constinit std::atomic<std::uint32_t> DGT1_PreambleMask{0};

namespace {

struct Word {
  const char* name;
  std::uint32_t flags;
};
constexpr Word words[] = {
    {"ERROR", DGT1_ERROR},
    {"DETAIL", DGT1_DETAIL},
    {"FLOW", DGT1_FLOW},
    {"MESSAGE", DGT1_MESSAGE},
    {"STATE", DGT1_STATE | DGT1_STATE_ENTER},
    {"ALL", DGT1_ERROR | DGT1_STATE | DGT1_STATE_ENTER | DGT1_DETAIL | DGT1_FLOW | DGT1_MESSAGE},
};
constexpr std::uint32_t defaultFlags = DGT1_ERROR | DGT1_MESSAGE;
constexpr const char* acceptedWords =
    "accepted are ERROR, DETAIL, FLOW, MESSAGE, STATE and ALL, each alone or with units in brackets";

/// Flags for one unit, or for all when the tag is empty.
struct Rule {
  std::string tag;
  std::uint32_t flags;
};

std::string upperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

/// Reads one word with its bracketed units into rules. False when it is none.
bool parseWord(const std::string& text, std::vector<Rule>& rules) {
  const std::size_t bracket = text.find('(');
  const std::string name = text.substr(0, bracket);
  const Word* word = nullptr;
  for (const Word& known : words) {
    if (name == known.name) word = &known;
  }
  if (!word) return false;
  if (bracket == std::string::npos) {
    rules.push_back({"", word->flags});
    return true;
  }
  if (text.back() != ')') return false;
  std::string tag;
  for (char c : text.substr(bracket + 1)) {
    if (c != ',' && c != ')') {
      tag.push_back(c);
      continue;
    }
    if (!tag.empty()) rules.push_back({tag, word->flags});
    tag.clear();
  }
  return true;
}

/// Words are separated by blanks; a blank inside brackets is skipped.
std::vector<std::string> splitWords(std::string_view setting) {
  std::vector<std::string> found(1);
  bool inBrackets = false;
  for (char c : upperCase(setting)) {
    if (c == '(') inBrackets = true;
    if (c == ')') inBrackets = false;
    if (c != ' ' && c != '\t') {
      found.back().push_back(c);
    } else if (!inBrackets && !found.back().empty()) {
      found.emplace_back();
    }
  }
  if (found.back().empty()) found.pop_back();
  return found;
}

void writeFully(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string timeStamp() {
  const std::int64_t now = ZOVClock::microseconds();
  const std::time_t seconds = now / 1'000'000;
  struct tm fields {};
  ARK_localtime(&seconds, &fields);
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
  return fmt::format("{}.{:06}", std::string_view(text, length), now % 1'000'000);
}

/// Whether JOURNAL_STREAM, which children inherit, still tells of this standard error: "DEVICE:INODE".
bool standardErrorIsJournal() {
  struct stat current {};
  if (::fstat(STDERR_FILENO, &current) != 0) return false;
  return OSL1_GetEnv("JOURNAL_STREAM", "") == fmt::format("{}:{}", current.st_dev, current.st_ino);
}

// What the calling thread's lines go to, when they are kept back.
constinit thread_local zov::TraceHold* currentHold = nullptr;

}  // namespace

/// All units, the rules that are in force, and where lines go. One object, never destroyed.
class DGT1_Registry {
 public:
  static DGT1_Registry& instance() {
    static auto* const registry = new DGT1_Registry;
    return *registry;
  }

  void add(DGT1_Unit& unit) {
    const zov::MutexLock lock(_mutex);
    unit._next = _units;
    _units = &unit;
    apply(unit);
    updatePreamble();
  }

  void setRules(std::vector<Rule> rules) {
    const zov::MutexLock lock(_mutex);
    _rules = std::move(rules);
    for (DGT1_Unit* unit = _units; unit; unit = unit->_next) apply(*unit);
    updatePreamble();
  }

  void setOutput(const char* path, bool standardErrorIsJournal) {
    const zov::MutexLock lock(_mutex);
    _path = path;
    _toJournal = standardErrorIsJournal;
  }

  void setSink(DGT1_Sink sink, void* context) {
    const zov::MutexLock lock(_mutex);
    _sink = sink;
    _sinkContext = context;
  }

  /// Of a text without control characters but line feeds.
  void write(const char* tag, DGT1_Line line, std::string_view text) {
    const zov::MutexLock lock(_mutex);
    if (_sink) return _sink(tag, line.number, text, _sinkContext);
    const int file = descriptor();
    const std::string priority =
        file == STDERR_FILENO && _toJournal ? fmt::format("<{}>", static_cast<int>(line.priority)) : "";
    const std::string head =
        fmt::format("{}{} {} {} {} ", priority, timeStamp(), ::gettid(), tag, line.number);
    std::string lines;
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      if (end != 0) lines.append(head).append(text.substr(0, end)) += '\n';
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    writeFully(file, lines.empty() ? head + "\n" : lines);
  }

 private:
  void apply(DGT1_Unit& unit) ZOV_REQUIRES(_mutex) {
    std::uint32_t flags = 0;
    for (const Rule& rule : _rules) {
      if (rule.tag.empty() || rule.tag == unit._tag) flags |= rule.flags;
    }
    unit._flags.store(flags, std::memory_order_relaxed);
  }

  void updatePreamble() ZOV_REQUIRES(_mutex) {
    bool flow = false;
    for (const DGT1_Unit* unit = _units; unit; unit = unit->_next) flow = flow || unit->on(DGT1_FLOW);
    if (flow) {
      DGT1_PreambleMask.fetch_or(DGT1_FLOW, std::memory_order_relaxed);
    } else {
      DGT1_PreambleMask.fetch_and(~std::uint32_t{DGT1_FLOW}, std::memory_order_relaxed);
    }
  }

  /// Standard error, or the trace file, opened anew when its path names another file than before.
  int descriptor() ZOV_REQUIRES(_mutex) {
    if (_path.empty()) return STDERR_FILENO;
    struct stat current {};
    const bool present = ::stat(_path.c_str(), &current) == 0;
    if (_file >= 0 && present && current.st_ino == _inode && current.st_dev == _device) return _file;
    if (_file >= 0) ::close(_file);
    _file = ::open(_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (_file < 0 || ::fstat(_file, &current) != 0) return STDERR_FILENO;
    _inode = current.st_ino;
    _device = current.st_dev;
    return _file;
  }

  zov::Mutex _mutex;
  DGT1_Unit* _units ZOV_GUARDED_BY(_mutex) = nullptr;
  std::vector<Rule> _rules ZOV_GUARDED_BY(_mutex){{"", defaultFlags}};
  std::string _path ZOV_GUARDED_BY(_mutex);
  bool _toJournal ZOV_GUARDED_BY(_mutex) = false;
  int _file ZOV_GUARDED_BY(_mutex) = -1;
  ino_t _inode ZOV_GUARDED_BY(_mutex) = 0;
  dev_t _device ZOV_GUARDED_BY(_mutex) = 0;
  DGT1_Sink _sink ZOV_GUARDED_BY(_mutex) = nullptr;
  void* _sinkContext ZOV_GUARDED_BY(_mutex) = nullptr;
};

DGT1_Unit::DGT1_Unit(const char* tag) : _tag(tag) {
  DGT1_Registry::instance().add(*this);
}

namespace {

using ArgumentStore = fmt::dynamic_format_arg_store<fmt::printf_context>;

void push(ArgumentStore& store, const DGT1_Arg& argument) {
  switch (argument.kind) {
    case DGT1_Arg::Kind::Signed:
      if (!argument.isWide) return store.push_back(static_cast<int>(argument.asSigned));
      return store.push_back(argument.asSigned);
    case DGT1_Arg::Kind::Unsigned:
      return store.push_back(argument.asUnsigned);
    case DGT1_Arg::Kind::Double:
      return store.push_back(argument.asDouble);
    case DGT1_Arg::Kind::Text:  // by reference: not copied, and a null stays one and shows as "(null)"
      return store.push_back(std::cref(argument.asText));
    case DGT1_Arg::Kind::Pointer:
      return store.push_back(argument.asPointer);
  }
}

/// For a format that does not fit its arguments: the format as it stands, and the arguments behind it.
std::string plainText(const char* format, const DGT1_Arg* arguments, std::size_t count) {
  std::string text = format;
  for (std::size_t i = 0; i < count; ++i) {
    const DGT1_Arg& argument = arguments[i];
    switch (argument.kind) {
      case DGT1_Arg::Kind::Signed:
        text += fmt::format(" [{}]", argument.asSigned);
        break;
      case DGT1_Arg::Kind::Unsigned:
        text += fmt::format(" [{}]", argument.asUnsigned);
        break;
      case DGT1_Arg::Kind::Double:
        text += fmt::format(" [{}]", argument.asDouble);
        break;
      case DGT1_Arg::Kind::Text:
        text += fmt::format(" [{}]", argument.asText ? argument.asText : "(null)");
        break;
      case DGT1_Arg::Kind::Pointer:
        text += fmt::format(" [{}]", argument.asPointer);
        break;
    }
  }
  return text;
}

}  // namespace

std::string DGT1_Format(const char* format, const DGT1_Arg* arguments, std::size_t count) {
  if (!format) return "(null)";
  try {
    ArgumentStore store;
    store.reserve(count, 0);
    for (std::size_t i = 0; i < count; ++i) push(store, arguments[i]);
    return fmt::vsprintf(fmt::string_view(format), store);
  } catch (const fmt::format_error&) {
    return plainText(format, arguments, count);
  }
}

namespace {

/// Bytes of the control character at the start of `text`, 0 when there is none: of ASCII, and those from
/// U+0080 to U+009F, which a terminal may obey too.
std::size_t controlLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x20 || byte(0) == 0x7F) return 1;
  return byte(0) == 0xC2 && text.size() > 1 && byte(1) >= 0x80 && byte(1) < 0xA0 ? 2 : 0;
}

bool hasControl(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (controlLength(text.substr(i)) != 0) return true;
  }
  return false;
}

void appendEscaped(std::string& result, std::string_view control) {
  switch (control.front()) {
    case '\n':
      result += "\\n";
      return;
    case '\r':
      result += "\\r";
      return;
    case '\t':
      result += "\\t";
      return;
    default:
      for (const char c : control) result += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
  }
}

/// Escapes the control characters of `text` but those for which `keeps`, given their place, says otherwise.
template <class Keeps>
std::string escaped(std::string_view text, Keeps keeps) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = controlLength(text.substr(i));
    if (length == 0 || keeps(i)) {
      result += text[i++];
      continue;
    }
    appendEscaped(result, text.substr(i, length));
    i += length;
  }
  return result;
}

std::string_view withoutLineEnd(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

/// The text of a line: `format` is ours, and the arguments may come from outside. A control character stands
/// in the text because the format has it there if it goes when the format goes without; so it is told also
/// where an argument is not terminated, or is cut.
std::string formatLine(const char* format, const DGT1_Arg* arguments, std::size_t count) {
  std::string text = DGT1_Format(format, arguments, count);
  if (format == nullptr || !hasControl(text)) return text;
  std::string plainFormat = format;
  std::ranges::replace_if(
      plainFormat,
      [](char c) {
        return controlLength({&c, 1}) != 0;
      },
      ' ');
  const std::string plain = DGT1_Format(plainFormat.c_str(), arguments, count);
  const bool comparable = plain.size() == text.size();
  return escaped(text, [&](std::size_t i) { return comparable && plain[i] != text[i]; });
}

/// Of a text whose control characters are ours.
void deliver(const char* unitTag, DGT1_Line line, std::string_view text) {
  if (currentHold != nullptr) return currentHold->keep(unitTag, line, text);
  DGT1_Registry::instance().write(unitTag, line, text);
}

}  // namespace

zov::TraceHold* zov::TraceHold::current() {
  return currentHold;
}

void zov::TraceHold::cutTo(TraceHold* hold) {
  currentHold = hold;
}

void zov::TraceHold::begin() {
  if (currentHold != nullptr) return;
  currentHold = this;
}

void zov::TraceHold::pause() {
  if (currentHold == this) currentHold = nullptr;
}

void zov::TraceHold::write() {
  pause();
  // Nothing is left to be freed: after this a raise may jump past the end.
  for (const Line& line : std::exchange(_lines, {})) deliver(line.unitTag, line.place, line.text);
}

std::string DGT1_Cut(std::string_view text, std::size_t most) {
  if (text.size() <= most) return std::string(text);
  constexpr std::string_view mark = "...";
  const auto continues = [&](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
  std::size_t end = most > mark.size() ? most - mark.size() : 0;
  const std::size_t least = end - std::min<std::size_t>(end, 3);
  while (end > least && continues(end)) --end;
  return std::string(text.substr(0, end)).append(mark);
}

// Not half-way through a line, and not at all where an unwinding could not pass (a destructor that traces).
void DGT1_WriteFormatted(const char* unitTag, DGT1_Line line, const char* format, const DGT1_Arg* arguments,
                         std::size_t count) {
  const zov::CancellationOff whole;
  try {
    deliver(unitTag, line, withoutLineEnd(formatLine(format, arguments, count)));
  } catch (const std::exception&) {  // out of storage: the line is lost, the caller goes on
  }
}

void DGT1_PrintArguments(const char* unitTag, DGT1_Line line, const char* format, const DGT1_Arg* arguments,
                         std::size_t count) {
  const zov::CancellationOff whole;
  try {
    std::vector<DGT1_Arg> shown(arguments, arguments + count);
    std::list<std::string> cut;
    for (DGT1_Arg& argument : shown) {
      if (argument.kind != DGT1_Arg::Kind::Text || argument.asText == nullptr) continue;
      const std::string_view text(argument.asText);
      if (text.size() > DGT1_MostText) argument = cut.emplace_back(DGT1_Cut(text)).c_str();
    }
    DGT1_WriteFormatted(unitTag, line, format, shown.data(), count);
  } catch (const std::exception&) {  // as there
  }
}

void DGT1_Write(const char* unitTag, DGT1_Line line, std::string_view text) {
  const zov::CancellationOff whole;
  text = withoutLineEnd(text);
  try {
    if (!hasControl(text)) return deliver(unitTag, line, text);
    deliver(unitTag, line, escaped(text, [&](std::size_t i) { return text[i] == '\n'; }));
  } catch (const std::exception&) {  // out of storage: the line is lost, the caller goes on
  }
}

void SnapHex(const DGT1_Unit& unit, const void* data, std::size_t length, const char* title) {
  constexpr std::size_t most = 4096, perLine = 16;
  const auto* bytes = static_cast<const unsigned char*>(data);
  const std::size_t shown = data ? std::min(length, most) : 0;
  std::string text = fmt::format("{} ({} bytes)", title ? title : "", length);
  for (std::size_t start = 0; start < shown; start += perLine) {
    std::string hex, plain;
    for (std::size_t i = start; i < std::min(start + perLine, shown); ++i) {
      hex += fmt::format("{:02X}{}", bytes[i], i % 4 == 3 ? " " : "");
      plain += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    }
    text += fmt::format("\n{:04X}  {:<36} *{}*", start, hex, plain);
  }
  DGT1_Write(unit.tag(), 0, text);
}

bool DGT1_Configure(std::string_view setting, std::string* error) {
  std::vector<Rule> rules;
  std::string bad;
  for (const std::string& word : splitWords(setting)) {
    if (!parseWord(word, rules)) bad += (bad.empty() ? "'" : ", '") + word + "'";
  }
  DGT1_Registry::instance().setRules(std::move(rules));
  if (bad.empty()) return true;
  if (error) *error = fmt::format("unknown trace word {} was skipped; {}", bad, acceptedWords);
  return false;
}

void DGT1_Open() {
  DGT1_Registry::instance().setOutput(OSL1_GetEnv("ZOV_TRACE_FILE", ""), standardErrorIsJournal());
  std::string error;
  if (!DGT1_Configure(OSL1_GetEnv("ZOV_TRACE", "ERROR MESSAGE"), &error)) {
    writeFully(STDERR_FILENO, "ZOV_TRACE: " + error + "\n");
  }
}

void DGT1_SetSink(DGT1_Sink sink, void* context) {
  DGT1_Registry::instance().setSink(sink, context);
}

#pragma once
// Trace. Every source file owns one unit, named by its eight-character tag; a unit carries the flag bits
// that are on for it. ZOV_TRACE (environment) sets them at DGT1_Open: words ERROR, DETAIL, FLOW, MESSAGE,
// STATE or ALL, each alone or with units in brackets, e.g. "ERROR MESSAGE FLOW(ZOVCSOCK,ZOVCLOCK)"; the
// default is "ERROR MESSAGE". Lines go to standard error, or to ZOV_TRACE_FILE, which is reopened after a
// rename. A line is time, thread, unit, line number, text; and nothing that comes from outside makes a second
// one of it, or reaches a terminal as a control character. Where standard error is the journal
// (JOURNAL_STREAM names it), each line begins with its priority, "<3>", which the journal takes off.
//
// Any thread may trace at any time, also before main and after the environment is gone. A line is written
// whole. Tracing never raises, never fails towards its caller, and takes no lock of the agent's.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

enum DGT1_Flag : std::uint32_t {
  DGT1_ERROR = 0x01,
  DGT1_STATE = 0x04,        ///< dumps of rows and records
  DGT1_STATE_ENTER = 0x08,  ///< "table entered" lines and dumps of filters
  DGT1_DETAIL = 0x10,
  DGT1_FLOW = 0x40,
  DGT1_MESSAGE = 0x80,  ///< numbered messages
};

/// Where a line of trace comes from, and how much it matters: the priorities of syslog(3).
struct DGT1_Line {
  enum Priority { Critical = 2, Error = 3, Warning = 4, Notice = 5, Information = 6, Debug = 7 };

  DGT1_Line(int place, Priority grade = Debug) : number(place), priority(grade) {}  // NOLINT: implicit
  /// Of a line that is traced when one of `flags` is on.
  static DGT1_Line of(int number, std::uint32_t flags) {
    return {number, flags & DGT1_ERROR ? Warning : flags & DGT1_MESSAGE ? Notice : Debug};
  }

  int number;  ///< of the source file's line
  Priority priority;
};

/// The trace unit of one source file. Constructed statically; lives for the whole process.
class DGT1_Unit {
 public:
  explicit DGT1_Unit(const char* tag);
  DGT1_Unit(const DGT1_Unit&) = delete;
  DGT1_Unit& operator=(const DGT1_Unit&) = delete;

  const char* tag() const { return _tag; }
  bool on(std::uint32_t flags) const { return (_flags.load(std::memory_order_relaxed) & flags) != 0; }
  std::uint32_t flags() const { return _flags.load(std::memory_order_relaxed); }

 private:
  friend class DGT1_Registry;
  const char* _tag;
  std::atomic<std::uint32_t> _flags{0};
  DGT1_Unit* _next = nullptr;  // guarded by the registry's mutex
};

/// One argument of a trace line, with the type that the caller gave; so a wrong conversion letter in a
/// format prints oddly, and is never undefined.
struct DGT1_Arg {
  enum class Kind { Signed, Unsigned, Double, Text, Pointer } kind;
  bool isWide = false;  ///< an integer wider than int: decides the digits of a negative number in "%X"
  union {
    long long asSigned;
    unsigned long long asUnsigned;
    double asDouble;
    const char* asText;
    const void* asPointer;
  };
  template <class T>
  DGT1_Arg(const T& value) : isWide(sizeof(T) > sizeof(int)) {  // NOLINT: implicit on purpose
    if constexpr (std::is_same_v<T, bool> || (std::is_integral_v<T> && std::is_signed_v<T>)) {
      kind = Kind::Signed, asSigned = value;  // NOLINT(bugprone-signed-char-misuse): as in a call of printf
    } else if constexpr (std::is_integral_v<T>) {
      kind = Kind::Unsigned, asUnsigned = value;
    } else if constexpr (std::is_enum_v<T>) {
      kind = Kind::Signed, asSigned = static_cast<long long>(value);
    } else if constexpr (std::is_floating_point_v<T>) {
      kind = Kind::Double, asDouble = static_cast<double>(value);
    } else if constexpr (std::is_convertible_v<T, const char*>) {
      kind = Kind::Text, asText = value;
    } else {
      static_assert(std::is_pointer_v<T>, "a trace argument is a number, an enumerator, a text or a pointer");
      kind = Kind::Pointer, asPointer = static_cast<const void*>(value);
    }
  }
};

/// printf-style formatting over typed arguments (also used for texts other than trace).
std::string DGT1_Format(const char* format, const DGT1_Arg* arguments, std::size_t count);
template <class... A>
std::string DGT1_FormatText(const char* format, const A&... a) {
  const DGT1_Arg arguments[] = {DGT1_Arg(0), DGT1_Arg(a)...};
  return DGT1_Format(format, arguments + 1, sizeof...(a));
}

/// The bytes of a text that a line of trace or a message shows at most.
constexpr std::size_t DGT1_MostText = 1024;
/// The text in `most` bytes; one that is longer is cut between two UTF-8 characters, and ends in "...".
std::string DGT1_Cut(std::string_view text, std::size_t most = DGT1_MostText);

/// Writes a line without a test of flags. The unit and the line's number are shown; most callers use
/// DGT1_Printf. A line feed in `text` begins a line of its own in the file; any other control character is
/// escaped. So who may have texts from outside in it gives them as arguments of the following.
void DGT1_Write(const char* unitTag, DGT1_Line line, std::string_view text);
/// Formats and writes. Control characters of the arguments are escaped, also line feeds ("\n", "\x1B"); those
/// of the format stay.
void DGT1_WriteFormatted(const char* unitTag, DGT1_Line line, const char* format, const DGT1_Arg* arguments,
                         std::size_t count);
/// The same; each text is also cut as DGT1_Cut does, since it may come from outside.
void DGT1_PrintArguments(const char* unitTag, DGT1_Line line, const char* format, const DGT1_Arg* arguments,
                         std::size_t count);
template <class... A>
void DGT1_Print(const DGT1_Unit& unit, DGT1_Line line, const char* format, const A&... a) {
  const DGT1_Arg arguments[] = {DGT1_Arg(0), DGT1_Arg(a)...};
  DGT1_PrintArguments(unit.tag(), line, format, arguments + 1, sizeof...(a));
}
/// Traces a formatted line when one of `flags` is on for `unit`.
#define DGT1_Printf(unit, flags, ...)                                                      \
  do {                                                                                     \
    if ((unit).on(flags)) DGT1_Print((unit), DGT1_Line::of(__LINE__, flags), __VA_ARGS__); \
  } while (false)

/// Hexadecimal dump under a title, sixteen bytes a line; at most 4,096 bytes are shown.
void SnapHex(const DGT1_Unit& unit, const void* data, std::size_t length, const char* title);

/// Reads ZOV_TRACE and ZOV_TRACE_FILE and sets the flags of all units, present and to come. main calls it
/// first; a bad word is reported on standard error with the words that are accepted, and skipped.
void DGT1_Open();
/// Sets flags as ZOV_TRACE would, for tests. Returns false, and says why in `error`, for a bad word.
bool DGT1_Configure(std::string_view setting, std::string* error = nullptr);
/// Receives every line instead of the file while set, one line at a time; for tests. It must not trace. Null
/// restores the file; after that the former sink is not called any more.
using DGT1_Sink = void (*)(const char* unitTag, int line, std::string_view text, void* context);
void DGT1_SetSink(DGT1_Sink sink, void* context);

namespace zov {

/// Keeps back the lines that the calling thread traces between begin() and pause(), and writes them when it
/// is told to, or at its end: for what traces with mutexes held. Within another hold that has begun, lines
/// stay with that one. A raise jumps past the end: the frame that it reaches calls cutTo() with what was
/// current() when it began.
class TraceHold {
 public:
  TraceHold() = default;
  ~TraceHold() { write(); }
  TraceHold(const TraceHold&) = delete;
  TraceHold& operator=(const TraceHold&) = delete;
  void begin();
  void pause();
  void write();  ///< pauses, too
  void keep(const char* unitTag, DGT1_Line line, std::string_view text) {
    _lines.push_back({unitTag, line, std::string(text)});
  }
  static TraceHold* current();
  static void cutTo(TraceHold* hold);

 private:
  struct Line {
    const char* unitTag;
    DGT1_Line place;
    std::string text;
  };
  std::vector<Line> _lines;
};

}  // namespace zov

/// Bits that make the function preamble do work: DGT1_FLOW, kept here, when any unit has it; and the internal
/// trace mask (0x200 to 0x1000), kept by the environment. 0 in normal running.
extern std::atomic<std::uint32_t> DGT1_PreambleMask;

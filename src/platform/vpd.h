#pragma once
// The configuration library: reads a file of sections into memory. Syntax, line by line:
//
//   # or ; begins a comment line          [NAME]     begins a section
//   NAME = value                          [NAME:id]  begins a section with an id
//
// Blanks around names, ids and values are dropped; a value is the rest of its line as it stands, of any
// length, so it may hold '=', '#' and ';'. A UTF-8 byte order mark and CR LF line ends are accepted. Nothing
// is merged: sections and entries stay as many as they are, in the order of the file. Texts are bytes in the
// code page of the file.
//
// A file is taken whole or not at all. What is wrong with it is said by the parser's getError(), and by a
// line of trace (DGT1_MESSAGE), with the file's name, the line's number, what was found and what is accepted.
// The file holds one instance, whose name is empty. No locks: a parser and its result belong to one thread;
// a result that nobody changes may be read by all.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VPD {

using CharStar = const char*;  ///< a text that may be null

/// A text, or none.
class String {
 public:
  String() = default;
  String(CharStar text) {  // NOLINT: implicit on purpose
    if (text) _text = text;
  }
  explicit String(std::string_view text) : _text(text) {}

  CharStar c_str() const { return _text ? _text->c_str() : nullptr; }  ///< null when there is none
  bool operator==(CharStar other) const { return other ? _text == std::string_view(other) : !_text; }
  bool operator==(const String& other) const = default;

 private:
  std::optional<std::string> _text;
};

template <class T>
class Array {
 public:
  void add(T element) { _elements.push_back(std::move(element)); }
  unsigned int getSize() const { return static_cast<unsigned int>(_elements.size()); }
  const T& operator[](unsigned int position) const { return _elements.at(position); }

 private:
  std::vector<T> _elements;
};

struct ConfigEntry {
  String name;
  String value;
  unsigned int line;  ///< of the file, from 1
};

class ConfigSection {
 public:
  ConfigSection(String name, String id, unsigned int line)
      : _name(std::move(name)), _id(std::move(id)), _line(line) {}
  const String& getName() const { return _name; }
  const String& getID() const { return _id; }  ///< its c_str() is null when the section has no id
  Array<String> getEntryNames() const;         ///< in file order, a repeated name as often as it stands
  /// True, and the value, when the entry exists; of repeated entries the last one counts.
  bool getEntryValue(const String& name, String& value) const;
  unsigned int getLine() const { return _line; }
  const std::vector<ConfigEntry>& getEntries() const { return _entries; }
  void addEntry(ConfigEntry entry) { _entries.push_back(std::move(entry)); }

 private:
  String _name;
  String _id;
  unsigned int _line;
  std::vector<ConfigEntry> _entries;
};

/// The sections of one instance, in file order.
class ConfigBase {
 public:
  unsigned int getNumSections() const { return static_cast<unsigned int>(_sections.size()); }
  const ConfigSection* getSection(unsigned int position) const {
    return position < _sections.size() ? &_sections[position] : nullptr;
  }
  ConfigSection& addSection(ConfigSection section) { return _sections.emplace_back(std::move(section)); }

 private:
  std::vector<ConfigSection> _sections;
};

/// What a parser has read.
class AgentConfig {
 public:
  /// The instance of that name, or null: only the empty name has one, once a file has been read.
  const ConfigBase* getInstance(const String& name) const;
  void setInstance(ConfigBase instance) { _instance = std::move(instance); }

 private:
  std::optional<ConfigBase> _instance;
};

/// What is wrong with a line; with line 0, with the file.
struct ConfigError {
  unsigned int line;
  std::string text;
};

class ConfigParser {
 public:
  /// Files above this size are refused.
  static constexpr std::size_t maximumFileSize = 16 * 1024 * 1024;

  /// False when the file cannot be read or does not parse; `config` is then as it was.
  bool parseConfigFromFile(CharStar path, AgentConfig* config);
  /// The same for a text in memory; `name` stands for it in messages.
  bool parseConfigFromText(CharStar name, std::string_view text, AgentConfig* config);
  /// A search by product code and instance: there are no well-known places here, so nothing is found.
  bool parseConfig(const String& productCode, const String& instance, AgentConfig* config);

  /// Why the last parse failed, as a sentence for people; empty after a success.
  const std::string& getError() const { return _error; }
  /// Each line that is wrong, up to a hundred of them.
  const std::vector<ConfigError>& getErrors() const { return _errors; }

 private:
  bool fail(const std::string& why);

  std::string _error;
  std::vector<ConfigError> _errors;
};

}  // namespace VPD

#pragma once
// EnvironmentVariable: sets a variable (null: unsets it) while it lives, and restores what was there. For
// tests without other threads.

#include <cstdlib>
#include <optional>
#include <string>

class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const char* value) : _name(name) {
    if (const char* former = std::getenv(name)) _former = former;
    set(value);
  }
  ~EnvironmentVariable() { set(_former ? _former->c_str() : nullptr); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void set(const char* value) {
    if (value) {
      ::setenv(_name, value, 1);
    } else {
      ::unsetenv(_name);
    }
  }

  const char* _name;
  std::optional<std::string> _former;
};

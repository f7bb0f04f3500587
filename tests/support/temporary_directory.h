#pragma once
// TemporaryDirectory: a directory of its own for one test, removed with all that is in it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "zov-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) std::abort();
    _path = name;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return _path; }
  std::string file(std::string_view name) const { return _path + "/" + std::string(name); }
  /// Writes a file and answers its path.
  std::string write(std::string_view name, std::string_view bytes) const {
    std::ofstream(file(name), std::ios::binary) << bytes;
    return file(name);
  }

 private:
  std::string _path;
};

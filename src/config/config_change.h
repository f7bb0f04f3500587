#pragma once
// zov::ConfigChange: a value of the configuration file that was another one when the file was read before.

#include <string>

namespace zov {

/// When a change counts.
enum class ConfigCounts { Now, Session, Restart };

struct ConfigChange {
  std::string key;
  std::string place;   ///< the section: "[Basic_Config]", or "[AppServer:id]" of a server
  std::string before;  ///< as the values are kept: words are numbers
  std::string after;
  ConfigCounts counts;
};

}  // namespace zov

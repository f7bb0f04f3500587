#pragma once
// zov::ctl::Http: requests to one agent over HTTP, several at once on one thread: they go on while wait()
// runs. Proxies of the environment are not used, since the agent takes requests for its own address only.
// Belongs to one thread; a request that is under way when this ends is given up.

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zov::ctl {

struct HttpRequest {
  std::string path;  ///< with its query
  std::vector<std::string> headers;
  std::string body;                  ///< not empty: a POST
  std::chrono::seconds timeout{60};  ///< for the whole answer; 0: as long as something comes each 45 seconds
  /// Takes the body of an answer of 200 as it comes, instead of the answer's body.
  std::function<void(std::string_view part)> take;
};

struct HttpAnswer {
  long status = 0;    ///< 0: none came, or not all of it
  std::string error;  ///< then: why, as a sentence without its end
  std::string body;
};

class Http {
 public:
  using Done = std::function<void(const HttpAnswer&)>;

  explicit Http(std::string base);
  ~Http();
  Http(const Http&) = delete;
  Http& operator=(const Http&) = delete;

  /// Sends a request and waits for its answer, and for those of all others.
  HttpAnswer send(const HttpRequest& request);
  /// Begins a request; wait() will call `done`.
  void begin(const HttpRequest& request, Done done);
  bool isIdle() const { return _transfers.empty(); }
  /// Waits until something moves, one of the descriptors can be read, or the time is over.
  void wait(std::span<const int> descriptors, std::chrono::milliseconds time);

 private:
  struct Transfer;
  struct Handle;

  std::string _base;
  std::unique_ptr<Handle> _handle;
  std::map<void*, std::unique_ptr<Transfer>> _transfers;  // by their handle
};

/// Whether a URL names this host, by an address or as "localhost".
bool isThisHost(const std::string& url);
/// The text as a part of a path or a query.
std::string urlEncoded(std::string_view text);

}  // namespace zov::ctl

#include "ctl/http.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>

#include <utility>

namespace zov::ctl {

namespace {
constexpr long SilentSeconds = 45;  // three times the pause between the comments of a stream of events
constexpr long ConnectSeconds = 10;
constexpr std::chrono::milliseconds LongWait{1000};
}  // namespace

struct Http::Handle {
  CURLM* multi = curl_multi_init();
  ~Handle() { curl_multi_cleanup(multi); }
};

struct Http::Transfer {
  HttpRequest request;
  Done done;
  HttpAnswer answer;
  CURLM* multi;
  CURL* easy = curl_easy_init();
  curl_slist* headers = nullptr;
  char error[CURL_ERROR_SIZE] = {};

  Transfer(HttpRequest asked, Done whenDone, CURLM* of)
      : request(std::move(asked)), done(std::move(whenDone)), multi(of) {}
  ~Transfer() {
    curl_multi_remove_handle(multi, easy);
    curl_easy_cleanup(easy);
    curl_slist_free_all(headers);
  }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  void begin(const std::string& base) {
    curl_easy_setopt(easy, CURLOPT_URL, (base + request.path).c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, ConnectSeconds);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, static_cast<long>(request.timeout.count()));
    if (request.timeout.count() == 0) {
      curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
      curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, SilentSeconds);
    }
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::take);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    for (const std::string& header : request.headers) headers = curl_slist_append(headers, header.c_str());
    if (!request.body.empty()) {
      headers = curl_slist_append(headers, "Content-Type: application/json");
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.c_str());
    }
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_multi_add_handle(multi, easy);
  }

  static std::size_t take(const char* part, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<Transfer*>(self);
    long status = 0;
    curl_easy_getinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
    const std::string_view bytes(part, size * count);
    if (status == 200 && transfer.request.take) {
      transfer.request.take(bytes);
    } else {
      transfer.answer.body += bytes;
    }
    return bytes.size();
  }

  void end(CURLcode code) {
    if (code == CURLE_OK) {
      curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &answer.status);
    } else {
      answer.error = *error ? error : curl_easy_strerror(code);
    }
    done(answer);
  }
};

Http::Http(std::string base) : _base(std::move(base)), _handle(std::make_unique<Handle>()) {}
Http::~Http() = default;

void Http::begin(const HttpRequest& request, Done done) {
  auto transfer = std::make_unique<Transfer>(request, std::move(done), _handle->multi);
  Transfer& begun = *transfer;
  _transfers.emplace(begun.easy, std::move(transfer));
  begun.begin(_base);
}

HttpAnswer Http::send(const HttpRequest& request) {
  HttpAnswer answer;
  begin(request, [&](const HttpAnswer& came) { answer = came; });
  while (!isIdle()) wait({}, LongWait);
  return answer;
}

void Http::wait(std::span<const int> descriptors, std::chrono::milliseconds time) {
  std::vector<curl_waitfd> waited;
  for (const int descriptor : descriptors) waited.push_back({descriptor, CURL_WAIT_POLLIN, 0});
  int running = 0;
  curl_multi_perform(_handle->multi, &running);
  if (std::cmp_equal(running, _transfers.size())) {
    curl_multi_poll(_handle->multi, waited.data(), static_cast<unsigned int>(waited.size()),
                    static_cast<int>(time.count()), nullptr);
    curl_multi_perform(_handle->multi, &running);
  }
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(_handle->multi, &left)) {
    const CURLcode code = message->data.result;
    const auto ended = _transfers.extract(message->easy_handle);
    ended.mapped()->end(code);
  }
}

bool isThisHost(const std::string& url) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), curl_url_cleanup);
  char* told = nullptr;
  if (curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK ||
      curl_url_get(parts.get(), CURLUPART_HOST, &told, 0) != CURLUE_OK) {
    return false;
  }
  const std::string host = told;
  curl_free(told);
  in_addr address{};
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) {
    const std::uint32_t number = ntohl(address.s_addr);
    return number == INADDR_ANY || number >> IN_CLASSA_NSHIFT == IN_LOOPBACKNET;
  }
  return host == "localhost" || host == "[::1]" || host == "[::]";
}

std::string urlEncoded(std::string_view text) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  constexpr const char* digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (plain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded.append({'%', digits[byte >> 4], digits[byte & 15]});
    }
  }
  return encoded;
}

}  // namespace zov::ctl

#pragma once
// FakeStatisticsJVM: a scripted statistics JVM on a real connection. It calls back with a token, and from
// serve() on answers requests as a well-behaved one does, but where a test has written another answer.
//
//   FakeStatisticsJVM jvm(port, token);
//   ASSERT_TRUE(jvm.isAccepted());
//   jvm.describe("instanceName=shop\n");
//   jvm.setStatistics({{2, "name=a\n"}});
//   jvm.serve();
//   jvm.script(24, [](FakeStatisticsJVM& self, const WireMessage&) { self.dropConnection(); });

#include <functional>
#include <map>

#include "support/fake_collector.h"

class FakeStatisticsJVM : public FakeCollector {
 public:
  using Answer = std::function<void(FakeStatisticsJVM&, const WireMessage&)>;
  using Texts = std::vector<std::pair<int, std::string>>;

  enum RequestType {
    CreateClient = 22,
    GetInstances = 23,
    GetAllData = 24,
    SetDelimiter = 26,
    PingInstances = 29,
    GetNameSpaces = 30,
    GetSamples = 33,
    TestClient = 35,
    Initiate = 42,
  };
  static constexpr int ClientId = 7;

  FakeStatisticsJVM(std::uint16_t port, long long token) : FakeCollector(port) {
    send(wireRequest(1, 1).number(4, 99).number(1340, 2).number(1341, token));
  }
  ~FakeStatisticsJVM() override { close(); }

  /// Reads the answer to the ping; an accepted one tells no level.
  bool isAccepted() {
    const auto answer = receive();
    return answer && answer->number(14) == 2 && !answer->number(15);
  }
  void describe(std::string text) {
    const std::scoped_lock lock(_scriptMutex);
    _description = std::move(text);
  }
  /// What all and single statistics bring from now on: sample types and texts.
  void setStatistics(Texts texts) {
    const std::scoped_lock lock(_scriptMutex);
    _texts = std::move(texts);
  }
  void script(int requestType, Answer answer) {
    const std::scoped_lock lock(_scriptMutex);
    _scripts[requestType] = std::move(answer);
  }
  void dropConnection() { ::shutdown(descriptor(), SHUT_RDWR); }
  void sendTexts(const WireMessage& request) {
    for (const auto& [type, text] : _texts) send(sampleFor(request, type, text));
  }
  void sendEnd(const WireMessage& request) { send(wireSample(998).number(13, request.correlator())); }
  static WireFrame sampleFor(const WireMessage& request, int type, std::string_view text) {
    WireFrame frame = wireSample(81).number(13, request.correlator()).number(1370, ClientId);
    if (type != 0) frame.number(1372, type);
    return frame.text(1371, text);
  }

 protected:
  void answer(const WireMessage& request) override {
    const std::scoped_lock lock(_scriptMutex);
    if (const auto scripted = _scripts.find(request.subtype);
        scripted != _scripts.end() && scripted->second) {
      return scripted->second(*this, request);
    }
    if (isRefused(request)) return;
    switch (request.subtype) {
      case CreateClient:
        send(wireResponse(request.correlator(), true, ClientId));
        break;
      case GetInstances:
        if (!_description.empty()) send(sampleFor(request, 0, _description));
        sendEnd(request);
        break;
      case GetAllData:
      case GetSamples:
        sendTexts(request);
        sendEnd(request);
        break;
      default:
        send(wireResponse(request.correlator(), true));
    }
  }

 private:
  std::recursive_mutex _scriptMutex;  // guards what follows
  std::string _description;
  Texts _texts;
  std::map<int, Answer> _scripts;
};

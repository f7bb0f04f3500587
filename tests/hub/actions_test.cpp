#include "framework/actions.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>

#include "hub_fixture.h"
#include "support/environment_variable.h"

namespace {

std::atomic<int> commandsInside{0};
std::atomic<int> commandsTaken{0};
std::atomic<Gate*> commandGate{nullptr};
std::shared_ptr<zov::Action> queuedWork;  // of the last command "1"

/// "wait" waits at the gate, a number is the outcome, and anything else is done.
long answerCommand(TqboxAutomationCapsule* capsule) {
  ++commandsInside;
  ++commandsTaken;
  const std::string command = capsule->command;
  const std::string reply = capsule->owner->requestDetail->table + " " + capsule->owner->originText + " " +
                            capsule->owner->GetSubnode() + " " + command;
  if (command == "wait") commandGate.load()->wait();
  capsule->rowOrStatus = std::atoi(command.c_str());
  capsule->SetOutcome(static_cast<CommandOutcome>(capsule->rowOrStatus), "why \"so\"");
  capsule->SetMessage(reply.c_str());
  if (capsule->action) capsule->action->describe(command + " ***", "");
  if (command == "1") {
    queuedWork = capsule->action;
    queuedWork->queue();
    queuedWork->queue();
  }
  capsule->owner->FinishedAutomationCommand(capsule);
  --commandsInside;
  return capsule->rowOrStatus;
}

class HubActions : public HubTest {
 protected:
  ~HubActions() override {
    stop();
    ARQ_RegisterCommandCallback("OV", nullptr);
    queuedWork.reset();
  }
  /// A record, without its number, its time and how long it took.
  std::string recordAt(const std::string& place) {
    const std::string body = zovTestGet(port, place, actionHeaders()).body;
    static const std::regex varying(
        "\"action\":[0-9]+,|\"when\":\"[-0-9]+T[0-9:]+Z\",|\"milliseconds\":[0-9]+,|\n");
    return std::regex_replace(body, varying, "");
  }
  void startWithCommands() {
    start();
    ARQ_RegisterCommandCallback("OV", &answerCommand);
    commandsTaken = 0;
  }
  static std::string body(const std::string& command) {
    return R"({"node":"n:h:ZOVS","command":")" + command + "\"}";
  }
};

}  // namespace

TEST_F(HubActions, AnswerWithTheirOutcome) {
  start();
  EXPECT_EQ(act(body("c")).status, 503) << "no callback yet";
  ARQ_RegisterCommandCallback("OV", &answerCommand);
  EXPECT_EQ(act(body("OV:Go \\u00fc")).body,
            "{\"message\":\"CLACTRMT n:h:ZOVS n:h:ZOVS OV:Go \xC3\xBC\",\"status\":0,\"result\":\"done\","
            "\"reason\":\"why \\\"so\\\"\"}\n");
  const struct {
    CommandOutcome outcome;
    int status;
    const char* word;
  } cases[] = {{CommandOutcome::Done, 200, "done"},
               {CommandOutcome::Queued, 202, "queued"},
               {CommandOutcome::UnknownNode, 404, "unknown_node"},
               {CommandOutcome::BadCommand, 422, "bad_command"},
               {CommandOutcome::Conflict, 409, "conflict"},
               {CommandOutcome::Failed, 502, "failed"}};
  for (const auto& [outcome, status, word] : cases) {
    const ZOVTestAnswer answer = act(body(std::to_string(static_cast<int>(outcome))));
    EXPECT_EQ(answer.status, status) << word;
    EXPECT_THAT(answer.body, testing::HasSubstr(std::string("\"result\":\"") + word + "\""));
  }
}

TEST_F(HubActions, AreRecordedUntilTheirLastWorkHasEnded) {
  startWithCommands();
  static std::vector<std::string> told;
  ARQ_RegisterActionCallback([](const zov::ActionRecord& record) { told.push_back(record.reason); });
  const std::string place = act(body("1")).headers.at("location");
  const auto record = [](const std::string& rest) {
    return R"({"who":"127.0.0.1","node":"n:h:ZOVS","command":"1 ***",)" + rest + "}";
  };
  EXPECT_EQ(zovTestGet(port, place).status, 401);
  EXPECT_EQ(zovTestGet(port, "/v1/actions").status, 401);
  EXPECT_EQ(recordAt(place), record(R"("result":"waiting","reason":"why \"so\"","output":"")"));
  queuedWork->begin();
  EXPECT_EQ(recordAt(place), record(R"("result":"running","reason":"why \"so\"","output":"")"));
  queuedWork->end(CommandOutcome::Failed, "the first", "a line\n");
  queuedWork->begin();
  EXPECT_TRUE(told.empty());
  queuedWork->end(CommandOutcome::Done, "the second", "");
  EXPECT_EQ(recordAt(place), record(R"("result":"failed","reason":"the first","output":"a line\n")"));
  EXPECT_EQ(told, std::vector<std::string>{"the first"});

  const std::string left = act(body("1")).headers.at("location");
  queuedWork.reset();
  EXPECT_TRUE(comesTrue(
      [&] { return recordAt(left).find(R"("failed","reason":"it was not)") != std::string::npos; }));
  for (int i = 0; i < 199; ++i) ASSERT_EQ(act(body("go 'u' 'p'")).status, 200);
  EXPECT_EQ(zovTestGet(port, place, actionHeaders()).status, 404) << "200 are kept";
  EXPECT_EQ(zovTestGet(port, left, actionHeaders()).status, 200);
  EXPECT_EQ(zovTestGet(port, left + "x", actionHeaders()).status, 404);
  ARQ_RegisterActionCallback(nullptr);
}

TEST_F(HubActions, OfAServerGoInTheirOrderAndThoseOfOthersBeside) {
  zov::hub::limits().commands = 3;
  startWithCommands();
  Gate gate;
  commandGate = &gate;
  const auto send = [&](ZOVTestHttpClient& client, const std::string& command) {
    client.send(ZOVTestHttpClient::request("POST", "/v1/actions", actionHeaders(), body(command)));
  };
  ZOVTestHttpClient first(port);
  ZOVTestHttpClient gone(port);
  ZOVTestHttpClient last(port);
  send(first, "wait");
  ASSERT_TRUE(gate.awaitWaiting(1));
  const std::string toAnother = R"({"node":"other:h:ZOVS","command":"0"})";
  EXPECT_EQ(act(toAnother).status, 200) << "although one server hangs";
  send(gone, "0");
  send(last, "0");
  ASSERT_TRUE(comesTrue([&] { return act(toAnother).status == 503; })) << "all places are taken";
  gone.close();
  ASSERT_TRUE(comesTrue([&] { return act(toAnother).status == 200; }));
  commandsTaken = 0;
  EXPECT_EQ(commandsInside, 1);
  gate.open();
  EXPECT_EQ(first.receive().status, 200);
  EXPECT_EQ(last.receive().status, 200);
  EXPECT_EQ(commandsTaken, 1) << "a command whose client left before it began is not carried out";
}

TEST_F(HubActions, NeedTheTokenAndNoForeignOrigin) {
  startWithCommands();
  const std::string good = actionHeaders();
  const std::string json = "Content-Type: application/json\r\n";
  const struct {
    std::string headers;
    int status;
    const char* sentence;
  } cases[] = {
      {json, 401, "hub.token"},
      {json + "Authorization: Bearer\r\n", 401, "hub.token"},
      {json + "Authorization: Bearer 0123456789abcdef\r\n", 401, "hub.token"},
      {good + "Origin: http://evil.example\r\n", 403, "evil.example"},
      {good + "Origin: http://localhost:3000\r\n", 403, "localhost:3000"},
      {good + "Origin: http://localhost\r\nOrigin: http://evil.example\r\n", 403, "evil.example"},
      {good + "Origin: null\r\n", 403, "null"},
      {good + "Origin: \r\n", 403, "accepted for an action is none"},
      {json + "Origin: http://evil.example\r\n", 403, "evil.example"},
      {json + "Host: evil.example\r\nOrigin: http://evil.example\r\n", 403, "Host header"},
      {good + "Origin: http://localhost\r\n", 200, "done"},
      {good + "Host: agent.example:8\r\nOrigin: https://Agent.example:8\r\n", 200, "done"},
      {good + "Host: agent.example\r\n", 200, "done"},
  };
  int accepted = 0;
  for (const auto& [headers, status, sentence] : cases) {
    const ZOVTestAnswer answer = ZOVTestHttpClient(port).post("/v1/actions", body("0"), headers);
    EXPECT_EQ(answer.status, status) << headers;
    EXPECT_EQ(answer.headers.contains("www-authenticate"), status == 401) << headers;
    EXPECT_THAT(answer.body, testing::HasSubstr(sentence)) << headers;
    accepted += status == 200;
  }
  EXPECT_EQ(commandsTaken, accepted);
  EXPECT_EQ(rows(), "{\"table\":\"FAKE\",\"rows\":[],\"nodes\":[]}\n") << "rows need no token";
}

TEST_F(HubActions, KeepOneTokenThatNoOneElseReads) {
  startWithCommands();
  const std::string first = actionHeaders();
  struct stat status {};
  ASSERT_EQ(::stat(directory.file("hub.token").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07137U, 0U) << "for its user, and its group to read";
  EXPECT_EQ(status.st_size, 65);
  stop();
  EXPECT_FALSE(hasLine(first.substr(first.find("Bearer ") + 7, 64))) << "never traced";
  start();
  EXPECT_EQ(actionHeaders(), first) << "kept";
  stop();
  std::filesystem::remove(directory.file("hub.token"));
  start();
  EXPECT_NE(actionHeaders(), first);
  EXPECT_EQ(act(body("0")).status, 200);
}

TEST_F(HubActions, AreRefusedWithATokenThatIsNoSecret) {
  const std::string path = directory.file("hub.token");
  const std::string token(32, 't');
  const struct {
    const char* name;
    std::function<void()> prepare;
    const char* reason;
  } cases[] = {
      {"others read it", [&] { ::chmod(path.c_str(), 0644); }, "others can use it"},
      {"its group writes it", [&] { ::chmod(path.c_str(), 0660); }, "group can write it"},
      {"too short", [&] { directory.write("hub.token", "0123456789\n"); }, "it holds no token"},
      {"two lines", [&] { directory.write("hub.token", token + "\n" + token); }, "it holds no token"},
      {"a link",
       [&] {
         std::filesystem::rename(path, directory.file("elsewhere"));
         ASSERT_EQ(::symlink("elsewhere", path.c_str()), 0);
       },
       "Too many levels of symbolic links"},
      {"a pipe",
       [&] {
         std::filesystem::remove(path);
         ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
       },
       "not a regular file"},
      {"a directory",
       [&] {
         std::filesystem::remove(path);
         std::filesystem::create_directory(path);
       },
       "not a regular file"},
  };
  for (const auto& [name, prepare, reason] : cases) {
    SCOPED_TRACE(name);
    std::filesystem::remove_all(path);
    directory.write("hub.token", token + "\n");
    ::chmod(path.c_str(), 0640);
    prepare();
    start();
    ARQ_RegisterCommandCallback("OV", &answerCommand);
    EXPECT_TRUE(waitForLine(reason));
    const ZOVTestAnswer answer = ZOVTestHttpClient(port).post(
        "/v1/actions", body("0"),
        "Content-Type: application/json\r\nAuthorization: Bearer " + token + "\r\n");
    EXPECT_EQ(answer.status, 401);
    EXPECT_THAT(answer.body, testing::HasSubstr("ZOV_HUB_TOKEN"));
    EXPECT_EQ(zovTestGet(port, "/v1/nodes").status, 200);
    stop();
  }
}

TEST_F(HubActions, TakeTheTokenThatIsSetAndNoOther) {
  directory.write("hub.token", std::string(32, 'k') + "\n");
  ::chmod(directory.file("hub.token").c_str(), 0600);
  {
    const EnvironmentVariable set("ZOV_HUB_TOKEN", "secret");
    startWithCommands();
  }
  const std::string json = "Content-Type: application/json\r\n";
  EXPECT_EQ(act(body("0")).status, 401);
  for (const char* host : {"localhost", "agent.example"}) {
    const std::string headers = json + "Authorization: Bearer secret\r\nHost: " + host + "\r\n";
    EXPECT_EQ(ZOVTestHttpClient(port).post("/v1/actions", body("0"), headers).status, 200);
  }
}

#include <rapidjson/document.h>

#include <set>

#include "hub_fixture.h"

TEST_F(HubTest, ListsItsPathsAndTheirMethods) {
  start();
  const std::string list = zovTestGet(port, "/").body;
  EXPECT_EQ(
      list,
      "GET  /healthz\n"
      "GET  /metrics\n"
      "GET  /v1/tables\n"
      "GET  /v1/nodes\n"
      "GET  /v1/nodes/NODE\n"
      "GET  /v1/tables/TABLE\n"
      "GET  "
      "/v1/tables/TABLE/rows?names=readable&node=NODE&COLUMN=VALUE&order=-COLUMN&limit=N&offset=N&history=1"
      "&timeout=SECONDS&PARMA=...\n"
      "GET  /v1/events?table=TABLE\n"
      "GET  /v1/actions\n"
      "POST /v1/actions  {\"node\": NODE, \"command\": COMMAND}\n"
      "GET  /v1/actions/NUMBER\n");
  const struct {
    const char* path;
    const char* allow;
  } cases[] = {{"/", "GET, HEAD"},
               {"/healthz", "GET, HEAD"},
               {"/v1/tables/FAKE/rows", "GET, HEAD"},
               {"/v1/events", "GET"},
               {"/v1/actions", "GET, HEAD, POST"}};
  for (const auto& [path, allow] : cases) {
    ZOVTestHttpClient client(port);
    client.send(ZOVTestHttpClient::request("BREW", path));
    const ZOVTestAnswer refused = client.receive();
    EXPECT_EQ(refused.status, 405) << path;
    EXPECT_EQ(refused.headers.at("allow"), allow) << path;
    EXPECT_EQ(refused.headers.at("x-content-type-options"), "nosniff");
    EXPECT_EQ(refused.headers.at("cache-control"), "no-store");
  }
  ZOVTestHttpClient head(port);
  head.send(ZOVTestHttpClient::request("HEAD", "/"));
  EXPECT_EQ(head.receiveHead().headers.at("content-length"), std::to_string(list.size()));
}

TEST_F(HubTest, ListsTablesAndNodes) {
  start();
  const std::string described =
      "{\"table\":\"FAKE\",\"application\":\"TST\",\"row_bytes\":52,\"events\":true,\"columns\":["
      "{\"name\":\"number\",\"offset\":0,\"size\":4,\"type\":\"int\",\"sortable\":true,"
      "\"readable\":\"mean_time\",\"unit\":\"ms\",\"meaning\":\"Mean time.\",\"decimals\":2,\"none\":-1},"
      "{\"name\":\"text\",\"offset\":4,\"size\":16,\"type\":\"utf8\",\"sortable\":false,"
      "\"readable\":\"label\",\"unit\":\"time\",\"meaning\":\"\",\"decimals\":0,\"none\":\"\"},"
      "{\"name\":\"originnode\",\"offset\":20,\"size\":32,\"type\":\"text\",\"sortable\":false,"
      "\"readable\":\"originnode\",\"meaning\":\"\",\"decimals\":0}]}";
  EXPECT_EQ(zovTestGet(port, "/v1/tables").body, "[" + described + "]\n");
  EXPECT_EQ(zovTestGet(port, "/v1/tables/FAKE").body, described + "\n");

  const auto enlist = [](const std::string& node) {
    return ARQ_Subnode_Register_nAff(node.c_str(), "OV", "06100000", 2, "AFF", "FEATURE");
  };
  zov::introduceAgent({.version = "1.2", .node = "ID:host", .directory = "", .mostNodeBytes = 11});
  char version[3];
  ARQ_SetVersionUsingProduct("OV", version, sizeof version);
  EXPECT_STREQ(version, "1.") << "cut to its place";
  for (const char* node : {"b:host:ZOVS", "a:host:ZOVS"}) EXPECT_EQ(enlist(node), 0);
  EXPECT_NE(enlist(""), 0);
  EXPECT_NE(enlist("aa:host:ZOVS"), 0) << "longer than the agent says";
  EXPECT_EQ(zovTestGet(port, "/v1/nodes").body.find("a:host:ZOVS"), std::string::npos) << "not sent yet";
  ARQ_Subnode_SendRequest();
  const std::string nodes = zovTestGet(port, "/v1/nodes").body;
  EXPECT_TRUE(nodes.starts_with("{\"agent\":\"ID:host\",\"product\":\"OV\",\"version\":\"1.2\",")) << nodes;
  EXPECT_NE(nodes.find("\"subnodes\":[{\"name\":\"a:host:ZOVS\",\"affinity\":\"AFF\",\"version\":\"06"),
            std::string::npos)
      << nodes;
  EXPECT_EQ(zovTestGet(port, "/v1/nodes/A:HOST:ZOVS").body,
            "{\"name\":\"a:host:ZOVS\",\"product\":\"OV\",\"version\":\"06100000\",\"affinity\":\"AFF\","
            "\"feature\":\"FEATURE\"}\n");
  EXPECT_EQ(zovTestGet(port, "/v1/nodes/ID:host").body, nodes);

  // A query without a node goes to all subnodes.
  table.sample = [](FakeBox& box) {
    box.ResetGetSubnode();
    while (const char* const node = box.GetSubnode()) {
      box.AddData(FakeRow(box.samptype, "", node));
    }
  };
  const std::string body = rows();
  EXPECT_TRUE(body.starts_with("{\"table\":\"FAKE\",\"rows\":[{") && body.ends_with("}],\"nodes\":[]}\n"))
      << body;
  for (const char* node : {"a:host:ZOVS", "b:host:ZOVS"}) {
    EXPECT_NE(body.find(std::string("{\"number\":1,\"text\":\"\",\"originnode\":\"") + node + "\"}"),
              std::string::npos)
        << body;
  }
  for (const int gone : {0, 1}) EXPECT_EQ(ARQ_Subnode_Deregister("a:host:ZOVS") != 0, gone);
  ARQ_Subnode_Deregister("b:host:ZOVS");
  ARQ_Subnode_SendRequest();
  EXPECT_EQ(rows(), "{\"table\":\"FAKE\",\"rows\":[],\"nodes\":[]}\n");
}

TEST_F(HubTest, GivesParametersToTheTable) {
  start();
  zov::introduceAgent({.version = "", .node = "ID:host", .directory = "", .mostNodeBytes = 32});
  const Subnodes registered{"x:h:ZOVS", "y"};
  zov::Mutex mutex;
  std::set<std::string>
      asked;  // of each question, of which several go at once: sample type, history, node | filters
  table.sample = [&](FakeBox& box) {
    std::string question = std::to_string(box.samptype) + (box.historyAtConstruction ? " history" : "");
    while (const char* const node = box.GetSubnode()) question.append(" ").append(node);
    const zov::MutexLock guard(mutex);
    asked.insert(question + " |" + box.filters());
  };
  const struct {
    const char* query;
    std::set<std::string> expected;
  } cases[] = {
      {"", {"1 x:h:ZOVS |", "1 y |"}},
      {"?node=x:h:ZOVS&node=Y&timeout=5", {"1 x:h:ZOVS |", "1 y |"}},
      {"?node=id:HOST", {"1 ID:host |"}},
      {"?node=y&number=-2147483648&Text=a+b%3D&parma=TOP%3BNEW_SAMP;1",
       {"3 y | NUMBER 496 -2147483648 TEXT 460 a b= PARMA 452 TOP;NEW_SAMP;1"}},
      {"?node=y&&TEXT=&&TEXT", {"3 y | TEXT 460  TEXT 460 "}},
      {"?ORIGINNODE=z", {"3 z | ORIGINNODE 452 z"}},
      {"?ORIGINNODE=X:h:zovs", {"3 x:h:ZOVS | ORIGINNODE 452 x:h:ZOVS"}},
      {"?history=1", {"3 history x:h:ZOVS | ORIGINNODE 452 x:h:ZOVS", "3 history y | ORIGINNODE 452 y"}},
      {"?history=0&node=y", {"1 y |"}},
      {"?node=x:h:ZOVS&history=1&NUMBER=1&node=y",
       {"3 history x:h:ZOVS | NUMBER 496 1 ORIGINNODE 452 x:h:ZOVS",
        "3 history y | NUMBER 496 1 ORIGINNODE 452 y"}},
  };
  for (const auto& [query, expected] : cases) {
    asked.clear();
    EXPECT_EQ(zovTestGet(port, std::string("/v1/tables/FAKE/rows") + query).status, 200) << query;
    EXPECT_EQ(asked, expected) << query;
  }
}

TEST_F(HubTest, FiltersAndLimitsWhatTheTableDoesNot) {
  // The table selects by the number, with 7 for any, and makes nothing of the origin.
  table.abilities.filters = {{"NUMBER", true, true, 7}, {"ORIGINNODE", false, false, 0}};
  start();
  const Subnodes registered{"a", "b"};
  zov::Mutex mutex;
  std::string filters;
  table.sample = [&](FakeBox& box) {  // of both nodes at once
    {
      const zov::MutexLock guard(mutex);
      filters = box.filters();
    }
    while (const char* const node = box.GetSubnode()) {
      for (int i = 0; i < 4; ++i) box.AddData(FakeRow(i, i % 2 == 0 ? "even" : "odd", node));
      if (box.subnodeRows() == 0) box.ReportSubnode(node, "no_data", "none");
    }
  };
  const struct {
    const char* query;
    const char* numbers;  // of the rows
    const char* unanswered;
  } cases[] = {
      {"", "01230123", ""},
      {"?text=odd", "1313", ""},
      {"?text=odd&TEXT=even", "0202", ""},
      {"?text=od", "", "ab"},
      {"?NUMBER=1", "01230123", ""},
      {"?originnode=A", "0123", ""},
      {"?node=a&ORIGINNODE=b", "", "a"},
      {"?ORIGINNODE=", "01230123", ""},
      {"?PARMA=TOP;ROWS;3", "012012", ""},
      {"?PARMA=TOP;ROWS;1&text=odd", "11", ""},
      {"?PARMA=TOP;ROWS;0&text=odd", "1313", ""},
  };
  for (const bool limits : {false, true}) {
    table.abilities.limitsRows = limits;
    for (const auto& [query, numbers, unanswered] : cases) {
      SCOPED_TRACE(query);
      rapidjson::Document answer;
      answer.Parse(rows(query).c_str());
      ASSERT_TRUE(answer.IsObject() && answer.HasMember("rows"));
      std::string found, reported;
      for (const auto& row : answer["rows"].GetArray()) found += std::to_string(row["number"].GetInt());
      for (const auto& node : answer["nodes"].GetArray()) reported += node["name"].GetString();
      EXPECT_EQ(found, numbers);
      EXPECT_EQ(reported, unanswered);
    }
  }
  rows("?PARMA=top;rows;2;;column;NUMBER;order;asc;new_samp;1&text=odd");
  EXPECT_EQ(filters, " TEXT 460 odd PARMA 452 TOP;ROWS;2147483647;COLUMN;number;ORDER;ASC;NEW_SAMP;1");
}

TEST_F(HubTest, TellsWhichNodesGaveNoRows) {
  start();
  table.sample = [&](FakeBox& box) {
    box.AddData(FakeRow(1));
    box.ReportSubnode("n", "timeout", "it did not answer");
    box.ReportSubnode("n", "other", "later");
  };
  EXPECT_TRUE(rows().ends_with(
      "}],\"nodes\":[{\"name\":\"n\",\"status\":\"timeout\",\"reason\":\"it did not answer\"}]}\n"));
}

TEST_F(HubTest, WritesAnyRowAsValidJson) {
  start();
  const struct {
    std::string text, json;  // a question mark in the JSON stands for U+FFFD
  } cases[] = {{"plain  ", "plain"},
               {"\"\\\n\x01", "\\\"\\\\\\n\\u0001"},
               {"z\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", "z\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"},
               {std::string("cut\0off", 7), "cut"},
               {"\xFF\xC0\xAFx\xED\xA0\x80\xE2\x82 \xC3", "???x????? ?"},
               {" lead", " lead"}};
  table.sample = [&](FakeBox& box) {
    for (const auto& c : cases) {
      box.AddData(FakeRow(-1, c.text));
    }
  };
  const std::string body = rows();
  for (auto [text, json] : cases) {
    for (std::size_t i; (i = json.find('?')) != std::string::npos;) json.replace(i, 1, "\xEF\xBF\xBD");
    EXPECT_NE(body.find("{\"number\":-1,\"text\":\"" + json + "\""), std::string::npos) << json << body;
  }
}

TEST_F(HubTest, ShowsRowsAsTheirReaderAsks) {
  setenv("TZ", "XST-2", 1);  // two hours ahead of UTC
  tzset();
  start();
  const Subnodes registered{"a", "b"};
  table.sample = [](FakeBox& box) {
    const bool isFirst = std::string(box.GetSubnode()) == "a";
    if (!isFirst) return void(box.AddData(FakeRow(-205, "1260101013005042", "b\",")));
    box.AddData(FakeRow(-1, "", "a"));
    box.AddData(FakeRow(7, "no time", "a"));
    for (int i = 0; i < 200; ++i) box.AddData(FakeRow(-1, "", "a"));
    box.AddData(FakeRow(150, "", "\xFF"));
  };
  const struct {
    const char* query;
    const char* accept;
    const char* expected;  // part of the body
  } cases[] = {
      {"?names=readable&limit=2&offset=1&order=-mean_time", "*/*",
       R"("rows":[{"mean_time":0.07,"label":null,"originnode":"a"},)"
       R"({"mean_time":-2.05,"label":"2025-12-31T23:30:05.042Z","originnode":"b\","}],"nodes":[]})"},
      {"?order=NUMBER&limit=3&offset=2", "text/html, application/json",
       R"("rows":[{"number":150,"text":"","originnode":"?"},{"number":-1,"text":"","originnode":"a"},{"number":-1,)"},
      {"?order=-text&limit=1", "", R"("rows":[{"number":7,"text":"no time","originnode":"a"}],"nodes")"},
      {"?offset=202", "text/csv;q=0", R"("rows":[{"number":150,"text":"","originnode":"?"},{"number":-205,)"},
      {"?limit=2", "application/json;q=0.5, text/csv", "number,text,originnode\r\n-1,,a\r\n7,no time,a\r\n"},
      {"?names=readable&order=-originnode&limit=3", "TEXT/CSV",
       "mean_time,label,originnode\r\n1.50,,?\r\n-2.05,2025-12-31T23:30:05.042Z,\"b\"\",\"\r\n,,a\r\n"},
  };
  for (const auto& [query, accept, expected] : cases) {
    ZOVTestHttpClient client(port);
    const ZOVTestAnswer answer =
        client.get("/v1/tables/FAKE/rows" + std::string(query), "Accept: " + std::string(accept) + "\r\n");
    std::string body = answer.body;
    for (std::size_t i; (i = body.find("\xEF\xBF\xBD")) != std::string::npos;) body.replace(i, 3, "?");
    EXPECT_NE(body.find(expected), std::string::npos) << query << body;
    EXPECT_EQ(answer.headers.at("content-type").starts_with("text/csv"), *expected != '"') << query;
  }
  zov::hub::limits().pageBytes = 100 * sizeof(FakeRow);
  const ZOVTestAnswer refused = zovTestGet(port, "/v1/tables/FAKE/rows?order=number");
  EXPECT_EQ(refused.status, 400) << refused.body;
  EXPECT_NE(refused.body.find("accepted is a smaller limit"), std::string::npos) << refused.body;
  EXPECT_TRUE(comesTrue([&] {
    return zovTestGet(port, "/v1/tables/FAKE/rows?order=number&limit=5").status == 200;
  })) << "room is not given back";
  unsetenv("TZ");
  tzset();
}

TEST_F(HubTest, RefusesWithAStatusAndASentence) {
  start();
  const std::string json = actionHeaders();
  const auto request = &ZOVTestHttpClient::request;
  const auto get = [&](const std::string& query) {
    return request("GET", "/v1/tables/FAKE/rows?" + query, "", "");
  };
  const auto post = [&](const std::string& body) { return request("POST", "/v1/actions", json, body); };
  const struct {
    std::string request;
    int status;
    const char* sentence;  // part of the error
  } cases[] = {
      {request("GET", "/v1/tables/fake/rows", "", ""), 404,
       "there is no table \\\"fake\\\"; the tables are FAKE"},
      {get("numbers=1"), 400, "the columns NUMBER TEXT ORIGINNODE"},
      {get("node=y&node=x:h:ZOVS"), 404, "there is no node \\\"y\\\"; /v1/nodes lists"},
      {get("PARMA="), 400, "PARMA is \\\"\\\"; accepted is TOP"},
      {get("PARMA=BOTTOM;ROWS;1"), 400, "PARMA is \\\"BOTTOM;ROWS;1\\\"; accepted is TOP"},
      {get("PARMA=TOP;ROWS"), 400, "the last word of PARMA is \\\"ROWS\\\"; its value is missing"},
      {get("PARMA=TOP;LINES;1"), 400, "a word of PARMA is \\\"LINES\\\"; accepted is TOP"},
      {get("PARMA=TOP;ROWS;1x"), 400, "ROWS of PARMA is \\\"1x\\\"; accepted is a number from 0"},
      {get("PARMA=TOP;ROWS;-1"), 400, "ROWS of PARMA is"},
      {get("PARMA=TOP;ROWS;2147483648"), 400, "to 2147483647"},
      {get("PARMA=TOP;ORDER;UP"), 400, "accepted are ASC and DESC"},
      {get("PARMA=TOP;NEW_SAMP;yes"), 400, "accepted are 0 and 1"},
      {get("PARMA=TOP;COLUMN;text"), 400, "COLUMN of PARMA is \\\"text\\\"; FAKE can be sorted by number"},
      {get("PARMA=TOP;COLUMN;none"), 400, "FAKE can be sorted by number"},
      {get("PARMA=TOP&PARMA=TOP"), 400, "PARMA is given more than once"},
      {request("GET", "/v1/tables/NONE", "", ""), 404, "there is no table \\\"NONE\\\"; the tables are FAKE"},
      {request("GET", "/v1/nodes/none", "", ""), 404, "there is no node \\\"none\\\""},
      {get("NUMBER=1x"), 400, "NUMBER is \\\"1x\\\"; accepted is an integer"},
      {get("NUMBER=2147483648"), 400, "accepted is an integer"},
      {get("NUMBER="), 400, "accepted is an integer"},
      {get("history=yes"), 400, "accepted are 1 and 0"},
      {get("timeout=0"), 400, "accepted are whole seconds from 1 to 300"},
      {get("timeout=9x"), 400, "timeout is \\\"9x\\\""},
      {get("node="), 400, "node is empty"},
      {request("GET", "/metrics?table=FAKE", "", ""), 400,
       "no parameter \\\"table\\\"; accepted is none: ZOV_METRICS_TABLES"},
      {get("names=long"), 400, "accepted are readable and stated"},
      {get("limit=0"), 400, "accepted are whole numbers from 1 to 2147483647"},
      {get("offset=-1"), 400, "offset is \\\"-1\\\""},
      {get("order=-none"), 400,
       "order is \\\"-none\\\"; accepted is a column, or - and a column, of NUMBER TEXT"},
      {get("TEXT=%4"), 400, "malformed % escape"},
      {get("TEXT=%00"), 400, "zero byte"},
      {get("TEXT=" + std::string(5000, 'x')), 414, "TEXT has 5000 bytes"},
      {get(std::string(9000, 'x')), 414, "accepted are at most 8192"},
      {request("GET", "/v1/tables//rows", "", ""), 404, "there is no path"},
      {request("GET", "/v1/tables/a/b/rows", "", ""), 404, "there is no path"},
      {request("GET", "/nothing", "", ""), 404, "there is no path /nothing"},
      {request("DELETE", "/v1/tables", "", ""), 405, "accepted for /v1/tables is GET, HEAD"},
      {request("PUT", "/v1/actions", "", ""), 405, "POST"},
      {request("HEAD", "/v1/events", "", ""), 405, ""},
      {request("GET", "/v1/events?table=NONE", "", ""), 404, "there is no table \\\"NONE\\\""},
      {request("GET", "/v1/events?node=x", "", ""), 400, "accepted is table"},
      {request("GET", "/healthz", "Host: evil.example\r\n", ""), 403, "evil.example"},
      {request("GET", "/healthz", "Host: localhost:x\r\n", ""), 403, "accepted are 127.0.0.1 and localhost"},
      {request("POST", "/v1/actions", json.substr(json.find("Auth")) + "Content-Type: text/plain\r\n", "{}"),
       415, "accepted is application/json"},
      {post(std::string(65537, ' ')), 413, "the body has 65537 bytes"},
      {post("{\"node\":"), 400, "the body is not JSON"},
      {post(std::string(60000, '[')), 400, "the body is not JSON"},
      {post("{\"node\":\"\xFF\",\"command\":\"x\"}"), 400, "not JSON"},
      {post("[]"), 400, "not an object"},
      {post("{\"node\":1}"), 400, "node is not a text"},
      {post("{\"node\":\"n\"}"), 400, "command is missing"},
      {post("{\"nodes\":\"n\"}"), 400, "nodes"},
      {post("{\"node\":\"n\",\"command\":\"a\\u0000\"}"), 400, "zero character"},
      {post("{\"node\":\"n\",\"command\":\"" + std::string(1024, 'c') + "\"}"), 400,
       "accepted are at most 1023"},
  };
  for (const auto& [text, status, sentence] : cases) {
    ZOVTestHttpClient client(port);
    client.send(text);
    if (text.starts_with("HEAD")) {
      EXPECT_EQ(client.receiveHead().status, status);
      continue;
    }
    const ZOVTestAnswer answer = client.receive();
    EXPECT_EQ(answer.status, status) << text.substr(0, 100) << answer.body;
    EXPECT_TRUE(answer.body.starts_with("{\"error\":\"")) << answer.body;
    EXPECT_NE(answer.body.find(sentence), std::string::npos) << sentence << " in " << answer.body;
  }
}

TEST_F(HubTest, RefusesWhatCouldBeTakenForTwoRequestsAndClosesTheConnection) {
  start();
  const std::string get = "GET /v1/nodes HTTP/1.1\r\n";
  const std::string post = "POST /v1/actions HTTP/1.1\r\nHost: localhost\r\n" + actionHeaders();
  const std::string next = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n";
  const struct {
    std::string request;
    const char* sentence;
  } cases[] = {
      {get + "Host: localhost\r\nHost: localhost\r\n\r\n", "2 Host headers"},
      {get + "Host: localhost\r\nHost: evil.example\r\n\r\n", "2 Host headers"},
      {post + "Content-Length: 0\r\nContent-Length: " + std::to_string(next.size()) + "\r\n\r\n" + next,
       "Content-Length headers differ"},
      {post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + next, "are both given"},
  };
  for (const auto& [request, sentence] : cases) {
    ZOVTestHttpClient client(port);
    client.send(request);
    const ZOVTestAnswer answer = client.receive();
    EXPECT_EQ(answer.status, 400) << request;
    EXPECT_NE(answer.body.find(sentence), std::string::npos) << answer.body;
    EXPECT_EQ(client.receive().status, 0) << "what follows is no request of its own";
  }
  ZOVTestHttpClient client(port);
  client.send(post + "Content-Length: 2\r\nContent-Length: 2\r\n\r\n{}");
  EXPECT_EQ(client.receive().status, 400);
  EXPECT_EQ(client.get("/healthz").status, 200) << "lengths that agree are no reason to close";
}

TEST_F(HubTest, EndlessBodiesAndHeadersCostOnlyTheirConnection) {
  start();
  const std::string chunkedPost = "POST /v1/actions HTTP/1.1\r\nHost: localhost\r\n" + actionHeaders() +
                                  "Transfer-Encoding: chunked\r\n\r\n";
  ZOVTestHttpClient chunked(port);
  chunked.send(chunkedPost);
  const std::string chunk = "4000\r\n" + std::string(0x4000, ' ') + "\r\n";
  while (chunked.send(chunk)) {
  }
  EXPECT_TRUE(chunked.closedByServer());
  ZOVTestHttpClient longer(port);
  longer.send(chunkedPost);
  for (int i = 0; i < 5; ++i) longer.send(chunk);
  longer.send("0\r\n\r\n");
  EXPECT_EQ(longer.receive().status, 413) << "more than a body may have, and an end";

  ZOVTestHttpClient headers(port);
  headers.send("GET /healthz HTTP/1.1\r\n");
  while (headers.send("X-Filler: " + std::string(1000, 'x') + "\r\n")) {
  }
  EXPECT_TRUE(headers.closedByServer());

  for (const char* malformed :
       {"no colon\r\n\r\n", "Host: a\r\nHost: b\r\n\r\n", "Content-Length: x\r\n\r\n"}) {
    ZOVTestHttpClient client(port);
    client.send(std::string("GET /v1/nodes HTTP/1.1\r\n") + malformed);
    EXPECT_NE(client.receive().status, 200);
  }
  for (const std::size_t parameters : {100U, 600U, 8000U}) {
    const std::string target = "/v1/tables/FAKE/rows?a" + std::string(parameters, '&');
    EXPECT_NE(zovTestGet(port, target).status, 200);
  }
  ZOVTestHttpClient noise(port);
  noise.send(std::string("\x16\x03\x01\0\xFF\r\n\r\n\0\0", 12));
  noise.receive();
  ZOVTestHttpClient cut(port);
  cut.send("GET /v1/tables/FAKE/rows HTTP/1.1\r\nHo");
  cut.close();
  EXPECT_EQ(zovTestGet(port, "/healthz").status, 200);
}

TEST_F(HubTest, AnswersManyQueriesAtOnceOnKeptConnections) {
  start();
  table.sample = [](FakeBox& box) {
    for (int i = 0; i < 100; ++i) {
      box.AddData(FakeRow(i, "row"));
    }
  };
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      ZOVTestHttpClient client(port);
      for (int i = 0; i < 25; ++i) {
        const ZOVTestAnswer answer = client.get("/v1/tables/FAKE/rows");
        good +=
            answer.status == 200 &&
            answer.body.ends_with("{\"number\":99,\"text\":\"row\",\"originnode\":\"\"}],\"nodes\":[]}\n");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 200);
  stop();
  EXPECT_EQ(table.boxes, 0);
}

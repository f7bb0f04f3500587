// The bytes of messages, and what becomes of bytes from a peer, hostile ones among them.

#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "support/fake_collector.h"
#include "transport/buffer.h"
#include "transport/collect_gc_data.h"
#include "transport/collect_workload.h"
#include "transport/collection_requests.h"
#include "transport/key_value_set.h"
#include "transport/ping_request.h"
#include "transport/poll_request.h"
#include "transport/response.h"
#include "transport/statistics_requests.h"

namespace {

std::string bodyOf(const ZOVTransportableData& data) {
  ZOVBuffer buffer;
  data.stream(buffer);
  return buffer.str();
}

template <class Request>
Request correlated(Request request, std::uint32_t correlator) {
  request.setCorrelatorId(correlator);
  return request;
}

std::unique_ptr<ZOVTransportableData> build(std::string body) {
  ZOVBuffer buffer{RWCString(std::move(body))};
  return ZOVTransportableData::buildFromBuffer(buffer);
}

template <class Request>
std::unique_ptr<Request> buildAs(const WireFrame& frame) {
  std::unique_ptr<ZOVTransportableData> data = build(frame.body());
  return std::unique_ptr<Request>(dynamic_cast<Request*>(data.release()));
}

TEST(WireFormat, MessagesHaveTheirBytes) {
  const std::pair<std::string, const char*> cases[] = {
      {bodyOf(correlated(ZOVResponse(0, 104, "no"), 7)),
       "00020001 00000005"
       "00000001 0000000D 0000000000000007 00000001 0000000E 0000000000000001"
       "00000001 0000000F 0000000000000068 00000002 0000001C 00000002 6E6F"},
      {bodyOf(correlated(ZOVGetPSISamples(7, "s", 4, "a\nb"), 1)),
       "00020001 00000021 00000001 0000000D 0000000000000001 00000001 0000055A 0000000000000007"
       "00000001 00000561 0000000000000004 00000002 00000005 00000001 73 00000002 0000055B 00000003 610A62"},
      {bodyOf(correlated(ZOVGetPSISamples(7, "s", 0, ""), 1)),
       "00020001 00000021 00000001 0000000D 0000000000000001 00000001 0000055A 0000000000000007"
       "00000002 00000005 00000001 73"},
      {bodyOf(correlated(ZOVInitiateRemotePSIClientRequest(63335, 2), 1)),
       "00020001 0000002A 00000001 0000000D 0000000000000001"
       "00000001 00000003 000000000000F767 00000001 00000578 0000000000000002"},
      {bodyOf(correlated(ZOVCollectWorkload("A", "", 1, 2, {}, 0), 1)),
       "00020001 00000008"
       "00000001 0000000D 0000000000000001 00000001 00000293 0000000000000300"
       "00000001 000002A7 0000000000000002 00000002 0000028A 00000001 41"},
      {bodyOf(correlated(ZOVCollectWorkload("", "", 0, 2, {}, 0), 1)),
       "00020001 00000008 00000001 0000000D 0000000000000001 00000001 000002A7 0000000000000002"},
      {bodyOf(correlated(ZOVCollectGCData(ZOVCollectGCData::StartCollecting, "/gc.log", 60,
                                          ZOVCollectGCData::DiscardOldest, 200),
                         2)),
       "00020001 0000000F"
       "00000001 0000000D 0000000000000002 00000001 0000041A 0000000000000001"
       "00000001 0000041C 000000000000003C 00000001 0000041D 00000000000000C8"
       "00000001 0000041E 0000000000000001 00000002 0000041B 00000007 2F67632E6C6F67"},
      {bodyOf(correlated(ZOVPollRequest(0x21C0000, "", "", "", "", "five", "", 0), 3)),
       "00020001 00000002"
       "00000001 0000000D 0000000000000003 00000001 00000001 00000000021C0000"
       "00000002 0000000A 00000004 66697665"},
      {bodyOf(correlated(ZOVInitiateCollectionRequest(-2, 0xFFFFFFFF, "a", "b", 5), 4)),
       "00020001 00000003"
       "00000001 0000000D 0000000000000004 00000001 0000000C FFFFFFFFFFFFFFFE"
       "00000001 00000010 00000000FFFFFFFF 00000001 00000017 0000000000000005"
       "00000002 00000012 00000001 61 00000002 00000013 00000001 62"},
      {bodyOf(correlated(ZOVStopCollectionRequest(), 0)), "00020001 00000004"},
      {bodyOf(ZOVTransportableData()), "00020000"},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(wireHex(body), wireHex(wireBytes(expected)));
}

TEST(WireFormat, ExtraPairsTravelWhateverTheirValueIs) {
  ZOVKeyValueSet pairs;
  pairs.defineKeyValuePair(1500, 0LL);
  pairs.defineKeyValuePair(1501, "");
  ZOVStopCollectionRequest request;
  request.save(pairs);
  const std::unique_ptr<ZOVRequest> copy(request.clone());
  EXPECT_EQ(copy->getCorrelatorId(), request.getCorrelatorId());
  const WireMessage message(bodyOf(*copy));
  EXPECT_EQ(message.number(1500), 0);
  EXPECT_EQ(message.text(1501), "");
}

TEST(WireFormat, EveryFieldOfAPingArrives) {
  const auto frame = [](std::initializer_list<int> numbers, std::initializer_list<int> texts) {
    WireFrame made = wireRequest(1, 77);
    for (const int key : numbers) made.number(key, key + 100);
    for (const int key : texts) made.text(key, std::to_string(key));
    return made;
  };
  const auto ping = buildAs<ZOVPingRequest>(
      frame({3, 4, 22, 24, 25, 27, 1340, 1341}, {655, 657, 26, 29, 850, 31, 5, 38, 39, 41}));
  ASSERT_TRUE(ping);
  // What goes out again has the order of the class, and not keys 3 and 22; a copy is a reduced ping.
  EXPECT_EQ(wireHex(bodyOf(*ping)),
            wireHex(frame({4, 24, 25, 27, 1340, 1341}, {655, 657, 26, 29, 850, 31, 5, 38, 39, 41}).body()));
  EXPECT_EQ(wireHex(bodyOf(*std::unique_ptr<ZOVRequest>(ping->clone()))),
            wireHex(frame({4, 24, 25}, {655, 657, 26, 29, 850}).body()));
}

TEST(WireFormat, ACopyOfAPollKeepsItsOwnSecondText) {
  const ZOVPollRequest source(0x2000, "1", "2", "3", "4", "5", "6", 9);
  ZOVPollRequest target(0, "", "own", "", "", "", "", 0);
  target = source;
  WireFrame expected = wireRequest(2, source.getCorrelatorId()).number(1, 0x2000).number(2, 9);
  expected.text(6, "1").text(7, "own").text(8, "3").text(9, "4").text(10, "5").text(11, "6");
  EXPECT_EQ(wireHex(bodyOf(target)), wireHex(expected.body()));
}

TEST(WireFormat, TheReaderTakesWhatItKnows) {
  const auto response = [](const WireFrame& frame) { return buildAs<ZOVResponse>(frame); };
  EXPECT_TRUE(response(WireFrame(1, 5))->getStatus()) << "a response without key 14";
  EXPECT_EQ(response(wireResponse(1, false))->getStatus(), 0);
  EXPECT_EQ(response(wireResponse(1, true))->getStatus(), 1);
  EXPECT_EQ(response(WireFrame(1, 5).number(9999, 1).text(8888, "x").number(15, 3))->getValue(), 3);
  EXPECT_EQ(response(WireFrame(1, 5).number(15, 3).number(15, 4))->getValue(), 4) << "the last one wins";
  EXPECT_EQ(response(WireFrame(1, 5).textOfType(7, 28, "seven"))->getMessage(), "seven");
  EXPECT_EQ(response(WireFrame(1, 5).text(28, "x").text(28, ""))->getMessage(), "");
  EXPECT_EQ(response(WireFrame(1, 5).text(28, std::string_view("a\0b", 3)))->getMessage(), "a");
  EXPECT_EQ(response(WireFrame(1, 5).text(15, "wrong kind"))->getValue(), 0);
  EXPECT_EQ(response(WireFrame(1, 5).number(15, 3).put(0, 4).raw("anything"))->getValue(), 3)
      << "a field type of 0 ends the body";
  EXPECT_EQ(response(WireFrame(1, 5, 9))->getReceivedFormat(), 9);

  const auto request = buildAs<ZOVCollectGCData>(wireRequest(15, 5).number(1365, 30).number(1052, 1LL << 33));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->getTimeout(), 30);
  const WireMessage sent(bodyOf(*request));
  EXPECT_FALSE(sent.number(1365)) << "the timeout is not sent on";
  EXPECT_FALSE(sent.number(1052)) << "cut to 32 bits, this is 0";
  EXPECT_EQ(sent.number(1053), 200) << "a field that did not come keeps its default";
}

TEST(WireFormat, OnlySomeTypesAreBuilt) {
  const std::set<int> built{1, 2, 3, 4, 5, 8, 15};
  for (int type = -1; type < 100; ++type) {
    EXPECT_EQ(build(wireRequest(type, 6).body()) != nullptr, built.contains(type)) << type;
  }
  for (const int dataType : {0, 3, 65535}) EXPECT_EQ(build(WireFrame(dataType, 5).body()), nullptr);
}

TEST(WireFormat, ABodyCutShortBuildsNothing) {
  const WireFrame field1 = wireRequest(1, 7);
  const WireFrame field2 = WireFrame(field1).text(5, "server1");
  const std::string whole = WireFrame(field2).number(24, 6005159).body();
  const std::set<std::size_t> goodEnds{8, field1.body().size(), field2.body().size(), whole.size()};
  for (std::size_t end = 0; end <= whole.size(); ++end) {
    EXPECT_EQ(build(whole.substr(0, end)) != nullptr, goodEnds.contains(end)) << end;
  }
}

TEST(WireFormat, ALyingCountReadsNothingBeyondTheBody) {
  for (const long long count : {5LL, 0x7FFFFFFFLL, 0xFFFFFFFFLL, 0x80000000LL}) {
    const std::string body = WireFrame(1, 5).put(2, 4).put(28, 4).put(count, 4).raw("four").body();
    EXPECT_EQ(build(body), nullptr) << count;
    ZOVBuffer buffer{RWCString(body.substr(12))};
    buffer.getNextKey();
    EXPECT_TRUE(buffer.getNextStringField().isNull());
    EXPECT_TRUE(buffer.isDamaged());
    EXPECT_EQ(buffer.getNextLongField(), 0);
    EXPECT_EQ(buffer.getNextFieldType(), 0);
  }
}

}  // namespace

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "bacnet/codec/bvlc.h"
#include "bacnet/codec/text.h"
#include "bacnet/segment/assembly.h"
#include "bacnet/server/server.h"
#include "bacnet/server/standard_object.h"
#include "bacnet/service/discovery.h"
#include "io/fake/fake_clock.h"
#include "support/bacnet_asker.h"
#include "support/golden.h"

namespace {

using namespace bacnet;  // NOLINT(google-build-using-namespace)
using namespace std::chrono_literals;
using server::CDevice;
using server::CServer;
using server::makeStandardObject;
using testing::ElementsAre;

constexpr ObjectId kInput{0, 1};
constexpr ObjectId kOutput{1, 1};
constexpr ObjectId kBinary{5, 1};
constexpr ObjectId kStates{14, 1};
constexpr ObjectId kText{40, 1};
constexpr ObjectId kMoment{44, 1};
constexpr ObjectId kDevice{8, 4711};
const io::Address kAt{0x0A000001, 47808};
const io::Address kAsker{0x0A000002, 47808};
const io::Address kBroadcast{0x0A0000FF, 47808};

std::string bytes(std::initializer_list<int> list) {
  return {list.begin(), list.end()};
}

class BacnetServer : public testing::Test {
 protected:
  BacnetServer() {
    net.addBroadcastAddress(kBroadcast.ip);
    for (const ObjectId id : {kInput, kOutput, kBinary, kStates, kText, kMoment}) {
      device.add(makeStandardObject(id, "Object " + std::to_string(id.type)));
    }
  }

  void addInputs(std::uint32_t count) {
    for (std::uint32_t i = 100; i < 100 + count; ++i) {
      device.add(makeStandardObject({0, i}, "More " + std::to_string(i)));
    }
  }
  void settle(io::Duration time = 100ms) { clock.advance(time); }
  Values present(ObjectId id) { return device.find(id)->values(property::kPresentValue); }

  io::CFakeClock clock;
  io::CFakeNetwork net{clock};
  CDevice device{{4711, "Device", "Vendor", 999, "Model", "1", "1", "", ""}};
  std::unique_ptr<io::CDatagrams> socket = net.open(kAt);
  CNetwork network{*socket, clock};
  CServer server{network, clock, device, kBroadcast};
  support::BacnetAsker asker{clock, net, kAsker, kAt};
};

TEST_F(BacnetServer, RefusesEachWrongRequestAsTheStandardSays) {
  const Values real{1.5F};
  const auto rp = [&](ObjectId object, PropertyReference reference) {
    return asker.read(object, reference.property, reference.index);
  };
  EXPECT_EQ(rp({0, 2}, {85, {}}), "error 1 31");
  EXPECT_EQ(rp(kInput, {87, {}}), "error 2 32");
  EXPECT_EQ(rp(kInput, {85, 1}), "error 2 50");
  EXPECT_EQ(rp(kOutput, {87, 17}), "error 2 42");
  EXPECT_EQ(rp(kDevice, {76, 99}), "error 2 42");

  const struct {
    ObjectId object;
    PropertyReference reference;
    Values values;
    std::string answer;
  } kWrites[] = {
      {{9, 9}, {85, {}}, real, "error 1 31"},
      {kInput, {4000, {}}, real, "error 2 32"},
      {kInput, {85, {}}, real, "error 2 40"},  // in service
      {kOutput, {87, 8}, real, "error 2 40"},
      {kOutput, {111, {}}, {BitString{}}, "error 2 40"},
      {kOutput, {85, 1}, real, "error 2 50"},
      {kOutput, {85, {}}, {std::uint64_t{1}}, "error 2 9"},
      {kOutput, {85, {}}, {1.5}, "error 2 9"},
      {kOutput, {85, {}}, {1.5F, 1.5F}, "error 2 9"},
      {kOutput, {85, {}}, {}, "error 2 9"},
      {kBinary, {85, {}}, {true}, "error 2 9"},
      {kBinary, {85, {}}, {Enumerated{2}}, "error 2 37"},
      {kStates, {85, {}}, real, "error 2 9"},
      {kStates, {85, {}}, {std::uint64_t{0}}, "error 2 37"},
      {kStates, {85, {}}, {std::uint64_t{5}}, "error 2 37"},
      {kStates, {110, 0}, {std::uint64_t{2}}, "error 2 40"},
      {kStates, {110, 5}, {characterString("x")}, "error 2 42"},
      {kStates, {110, 1}, real, "error 2 9"},
      {kStates, {110, {}}, {characterString("x")}, "error 2 37"},
      {kText, {85, {}}, {CharacterString{1, "x"}}, "error 2 41"},
      {kText, {85, {}}, {characterString(std::string(1025, 'x'))}, "error 3 20"},
      {kMoment, {85, {}}, {Date{}}, "error 2 9"},
      {kDevice, {121, {}}, {characterString("x")}, "error 2 40"},
      {kInput, {22, {}}, {-1.0F}, "error 2 37"},
  };
  for (const auto& each : kWrites) {
    EXPECT_EQ(asker.write(each.object, each.reference, each.values), each.answer)
        << each.object.type << " " << each.reference.property;
  }
  EXPECT_EQ(asker.write(kOutput, {85, {}}, real, 6), "error 2 40");
}

TEST_F(BacnetServer, RejectsWhatIsNoRequest) {
  const auto rp = ConfirmedService::kReadProperty;
  const auto wp = ConfirmedService::kWriteProperty;
  EXPECT_EQ(asker.ask(static_cast<ConfirmedService>(26), ""), "reject 9");
  EXPECT_EQ(asker.ask(rp, ""), "reject 5");
  EXPECT_EQ(asker.ask(rp, bytes({0x0C, 0, 0, 0, 1})), "reject 5");
  EXPECT_EQ(asker.ask(rp, bytes({0x0C, 0, 0, 0, 1, 0x19, 85, 0x39, 1})), "reject 7");
  EXPECT_EQ(asker.ask(rp, bytes({0x0B, 0, 0, 1, 0x19, 85})), "reject 3");
  EXPECT_EQ(asker.ask(rp, bytes({0x0C, 0, 0})), "reject 4");
  EXPECT_EQ(asker.ask(rp, bytes({0x0C, 0, 0, 0, 1, 0x91, 85})), "reject 4");
  EXPECT_EQ(asker.ask(wp, bytes({0x0C, 0, 0x40, 0, 1, 0x19, 85})), "reject 5");
  EXPECT_EQ(asker.ask(wp, bytes({0x0C, 0, 0x40, 0, 1, 0x19, 85, 0x3E, 0, 0x3F, 0x49, 17})), "reject 6");
  EXPECT_EQ(asker.ask(ConfirmedService::kReadPropertyMultiple, bytes({0x0C, 0, 0, 0, 1})), "reject 5");
  EXPECT_EQ(asker.ask(ConfirmedService::kReadPropertyMultiple, bytes({0x0C, 0, 0, 0, 1, 0x1E, 0x1F})), "reject 5");

  device.abilities().readsMultiple = device.abilities().writesMultiple = device.abilities().notifiesChanges = false;
  for (const auto service : {ConfirmedService::kReadPropertyMultiple, ConfirmedService::kWritePropertyMultiple,
                             ConfirmedService::kSubscribeCov}) {
    EXPECT_EQ(asker.ask(service, ""), "reject 9");
  }
}

TEST_F(BacnetServer, TellsWhoCommandsEachPriority) {
  EXPECT_EQ(asker.read(kOutput, 434), "error 2 32");
  device.find(kOutput)->tellOrigins();
  EXPECT_EQ(asker.read(kOutput, 433), asker.read(kOutput, 434, 8)) << "nobody";
  EXPECT_EQ(asker.read(kOutput, 430, 8), "{*-*-*,*:*:*.*}");
  asker.write(kOutput, {85, {}}, {2.0F}, 8);
  EXPECT_EQ(asker.read(kOutput, 434, 8), "{0,0a000002bac0}");
  EXPECT_EQ(asker.read(kOutput, 433), "{0,0a000002bac0}");
  EXPECT_EQ(asker.read(kOutput, 432), asker.read(kOutput, 430, 8));
  EXPECT_EQ(asker.read(kOutput, 432).substr(0, 3), "{20");
  asker.write(kOutput, {85, {}}, {Null{}}, 8);
  EXPECT_EQ(asker.read(kOutput, 433), asker.read(kOutput, 434, 1));
  EXPECT_EQ(asker.read(kOutput, 434, 0), "16");

  const std::pair<ValueSource, std::string> sources[] = {
      {{}, bytes({0x08})},
      {SourceObject{{}, {17, 1}}, bytes({0x1E, 0x1C, 0x04, 0x40, 0, 1, 0x1F})},
      {SourceObject{3001, {17, 1}}, bytes({0x1E, 0x0C, 2, 0, 0x0B, 0xB9, 0x1C, 4, 0x40, 0, 1, 0x1F})},
      {NetworkAddress{5, "\x07"}, bytes({0x2E, 0x21, 5, 0x61, 7, 0x2F})},
  };
  for (const auto& [source, wire] : sources) {
    EXPECT_EQ(encode(Values{toValue(source)}), wire);
    const auto read = valueSourceIn(parseValues(wire)->front());
    ASSERT_TRUE(read);
    EXPECT_EQ(encode(Values{toValue(*read)}), wire);
  }
  for (const Value& other : {Value(Null{}), Value(Constructed{2, {}}), Value(Constructed{1, {Null{}}})})
    EXPECT_FALSE(valueSourceIn(other));
}

TEST_F(BacnetServer, KeepsAPlaceForEachPriority) {
  EXPECT_EQ(asker.write(kOutput, {85, {}}, {1.0F}), "done");
  EXPECT_EQ(asker.read(kOutput, 87, 16), "1");
  EXPECT_EQ(asker.write(kOutput, {85, {}}, {2.0F}, 8), "done");
  EXPECT_EQ(asker.write(kOutput, {85, {}}, {3.0F}, 9), "done");
  EXPECT_EQ(asker.read(kOutput, 85), "2");
  EXPECT_EQ(asker.write(kOutput, {85, {}}, {Null{}}, 8), "done");
  EXPECT_EQ(asker.read(kOutput, 85), "3");
  EXPECT_EQ(asker.write(kOutput, {104, {}}, {7.0F}), "done");
  for (const std::uint8_t priority : {std::uint8_t{9}, std::uint8_t{16}})
    asker.write(kOutput, {85, {}}, {Null{}}, priority);
  EXPECT_EQ(asker.read(kOutput, 85), "7");
  EXPECT_EQ(asker.read(kOutput, 87, 0), "16");

  asker.write(kMoment, {85, {}}, {Date{126, 3, 9, 1}, Time{1, 2, 3, 4}}, 16);
  EXPECT_EQ(asker.read(kMoment, 85), "2026-03-09,01:02:03.04");
  EXPECT_EQ(std::get<Constructed>(std::get<Values>(device.find(kMoment)->read({87, 16})).front()).tag, 1);
}

TEST_F(BacnetServer, LetsAnInputBeWrittenOutOfServiceAndSaysSoInItsFlags) {
  EXPECT_EQ(asker.read(kInput, 111), "0000");
  EXPECT_EQ(asker.write(kInput, {81, {}}, {true}), "done");
  EXPECT_EQ(asker.write(kInput, {85, {}}, {42.0F}), "done");
  EXPECT_EQ(asker.write(kInput, {103, {}}, {Enumerated{1}}), "done");
  EXPECT_EQ(asker.read(kInput, 85) + " " + asker.read(kInput, 111), "42 0101");
}

TEST_F(BacnetServer, TellsAllRequiredAndOptionalPropertiesAndEachErrorInItsPlace) {
  const auto results = [&](ObjectId object, std::vector<PropertyReference> references) {
    asker.ask(ConfirmedService::kReadPropertyMultiple, encode(ReadPropertyMultipleRequest{{object, references}}));
    return parseReadPropertyMultipleAck(std::get<ComplexAck>(asker.heard.front().view).data).value().at(0).results;
  };
  const auto ids = [&](PropertyId selection) {
    std::vector<PropertyId> all;
    for (const ReadResult& each : results(kOutput, {{selection, {}}})) all.push_back(each.reference.property);
    return all;
  };
  EXPECT_THAT(ids(property::kRequired), ElementsAre(36, 75, 77, 79, 81, 85, 87, 104, 111, 117));
  EXPECT_THAT(ids(property::kOptional), ElementsAre(22, 28, 103));
  EXPECT_EQ(ids(property::kAll).size(), 13U);
  EXPECT_EQ(asker.read(kOutput, property::kPropertyList, 0), "10");

  const auto some = results(kOutput, {{85, {}}, {1000, {}}, {87, 99}});
  EXPECT_EQ(std::get<Error>(some[1].result), (Error{2, 32}));
  EXPECT_EQ(std::get<Error>(some[2].result), (Error{2, 42}));
  EXPECT_EQ(std::get<Error>(results({0, 9}, {{property::kAll, {}}}).at(0).result), (Error{1, 31}));
  EXPECT_EQ(std::get<Values>(results({8, kLargestInstance}, {{75, {}}}).at(0).result), (Values{kDevice}));
}

TEST_F(BacnetServer, WritesSeveralUpToTheFirstThatFailsAndNamesIt) {
  const WritePropertyMultipleRequest request{{kOutput, {{{85, {}}, {5.0F}, 8}}},
                                             {kBinary, {{{85, {}}, {true}, {}}, {{85, {}}, {Enumerated{1}}, {}}}}};
  EXPECT_EQ(asker.ask(ConfirmedService::kWritePropertyMultiple, encode(request)), "error 2 9");
  const auto reply =
      parseError(ConfirmedService::kWritePropertyMultiple, std::get<ErrorPdu>(asker.heard.front().view).data);
  EXPECT_EQ(reply.value().failedWrite.value().object, kBinary);
  EXPECT_EQ(present(kOutput), Values{5.0F});
  EXPECT_EQ(present(kBinary), Values{Enumerated{0}});
}

TEST_F(BacnetServer, AnswersInSegmentsWhoeverTakesThem) {
  addInputs(200);
  asker.asking().maxApdu = 206;
  EXPECT_EQ(asker.read(kDevice, 76), "abort 4");
  asker.asking().takesSegmentedAnswer = true;
  asker.asking().maxSegmentsCode = 2;
  EXPECT_EQ(asker.read(kDevice, 76), "abort 1");
  asker.asking().maxSegmentsCode = 0;

  asker.read(kDevice, 76);
  CAssembly assembly;
  for (std::size_t at = 0; at < asker.heard.size(); ++at) {
    const auto ack = std::get<ComplexAck>(asker.heard[at].view);
    ASSERT_LE(asker.heard[at].bytes->size(), 206U);
    auto taken = assembly.take(*ack.segment, ack.data);
    if (taken.ack) {
      taken.ack->invokeId = ack.invokeId;
      asker.send(*taken.ack);
      settle();
    }
    if (taken.step == CAssembly::Step::kComplete) break;
  }
  EXPECT_EQ(parseReadPropertyAck(assembly.message()).value().values.size(), 207U);
  const std::size_t heard = asker.heard.size();
  settle(60s);
  EXPECT_EQ(asker.heard.size(), heard);  // nothing is repeated

  EXPECT_NE(asker.read(kDevice, 76), "nothing");  // nobody acknowledges: three repetitions, then silence
  settle(60s);
  EXPECT_EQ(asker.heard.size(), 4U);
}

TEST_F(BacnetServer, TakesRequestsInSegments) {
  const std::string data =
      encode(WritePropertyRequest{kText, {85, {}}, {characterString(std::string(900, 'x'))}, std::uint8_t{8}});
  ConfirmedRequest request;
  request.service = ConfirmedService::kWriteProperty;
  std::uint8_t sequence = 0;
  for (std::size_t at = 0; at < data.size(); at += 100, ++sequence) {
    request.segment = Segment{sequence, 2, at + 100 < data.size()};
    request.data = std::string_view(data).substr(at, 100);
    asker.ask(request);
  }
  settle();
  EXPECT_EQ(asker.heard.size(), 2U);  // the last segment's acknowledgement and the answer
  EXPECT_EQ(support::BacnetAsker::describe(asker.heard.back().view), "done");
  EXPECT_EQ(present(kText), Values{characterString(std::string(900, 'x'))});

  EXPECT_EQ(asker.ask(request), "segment-ack");  // repeated: acknowledged again, not written again
  settle(60s);
  EXPECT_EQ(asker.ask(request), "abort 2");  // of nothing that is known
  device.abilities().segmentation = Segmentation::kTransmit;
  EXPECT_EQ(asker.ask(request), "abort 4");
  request.segment.reset();
  request.data = data;
  device.abilities().maxApdu = 50;
  EXPECT_EQ(asker.ask(request), "abort 11");
}

TEST_F(BacnetServer, TellsSubscribersOfChangesForTheirTime) {
  EXPECT_EQ(asker.subscribe({7, {0, 9}, false, 60}), "error 1 31");
  EXPECT_EQ(asker.subscribe({7, kDevice, false, 60}), "error 1 45");
  EXPECT_EQ(asker.subscribe({7, kInput, false, 60}), "done");
  settle();
  ASSERT_EQ(asker.notifications().size(), 1U);  // behind the answer
  EXPECT_EQ(asker.notifications()[0].timeRemaining, 60U);
  EXPECT_EQ(asker.notifications()[0].values[1].reference.property, property::kStatusFlags);

  const auto changesOf = [&](float value) {
    asker.heard.clear();
    device.find(kInput)->set(property::kPresentValue, {value});
    server.valuesChanged();
    settle();
    return asker.notifications().size();
  };
  EXPECT_EQ(changesOf(0.09F), 0U);  // less than the increment of 0.1
  EXPECT_EQ(changesOf(0.11F), 1U);
  EXPECT_EQ(changesOf(0.2F), 0U);
  asker.write(kInput, {81, {}}, {true});
  settle();
  EXPECT_EQ(asker.notifications().size(), 1U);  // a flag
  settle(60s);
  EXPECT_EQ(changesOf(50), 0U);  // has ended

  EXPECT_EQ(asker.subscribe({7, kInput, false, 0}), "done");
  EXPECT_EQ(asker.subscribe({7, kInput, {}, {}}), "done");
  EXPECT_EQ(changesOf(60), 0U);
  device.abilities().mostSubscriptions = 1;
  asker.subscribe({7, kInput, false, 0});
  EXPECT_EQ(asker.subscribe({7, kInput, true, 60}), "done");  // the same one
  EXPECT_EQ(asker.subscribe({8, kInput, false, 60}), "error 3 19");
  EXPECT_EQ(std::get<Values>(device.find(kDevice)->read({property::kActiveCovSubscriptions, {}})).size(), 4U);
  server.restart();
  EXPECT_EQ(changesOf(70), 0U);
}

TEST_F(BacnetServer, RepeatsAConfirmedNotificationUntilItIsAnswered) {
  asker.subscribe({7, kInput, true, 0});
  settle(5s);
  ASSERT_EQ(asker.notifications().size(), 2U);
  device.find(kInput)->set(property::kPresentValue, {9.0F});
  server.valuesChanged();
  settle(1ms);
  EXPECT_EQ(asker.notifications().size(), 2U);  // one at a time
  const auto request = std::get<ConfirmedRequest>(asker.heard.back().view);
  asker.send(SimpleAck{request.invokeId, request.service});
  settle();
  ASSERT_EQ(asker.notifications().size(), 3U);  // the change since
  EXPECT_EQ(asker.notifications()[2].values[0].values, Values{9.0F});
  settle(60s);
  EXPECT_EQ(asker.notifications().size(), 6U);  // four tries in all
}

TEST_F(BacnetServer, IsFoundByNumberAndItsObjectsByName) {
  const auto heardAfter = [&](const UnconfirmedRequest& request) {
    asker.heard.clear();
    asker.broadcast(kBroadcast, request);
    asker.send(request);
    settle();
    return asker.heard.size();
  };
  const auto whoIs = [&](const WhoIs& request) {
    const std::string data = encode(request);
    return heardAfter({UnconfirmedService::kWhoIs, data});
  };
  EXPECT_EQ(whoIs({}), 2U);
  EXPECT_EQ(whoIs({{{4711, 4711}}}), 2U);
  EXPECT_EQ(whoIs({{{4712, 5000}}}), 0U);
  const auto iAm = parseIAm(std::get<UnconfirmedRequest>((whoIs({}), asker.heard.back().view)).data);
  EXPECT_EQ(iAm.value().device, 4711U);
  EXPECT_EQ(iAm.value().maxApdu, 1476U);

  EXPECT_EQ(heardAfter({UnconfirmedService::kWhoHas, std::string_view("\x2C\0\x40\0\1", 5)}), 2U);
  EXPECT_EQ(heardAfter({UnconfirmedService::kWhoHas, std::string_view("\x3D\x09\0Object 5", 11)}), 2U);
  EXPECT_EQ(heardAfter({UnconfirmedService::kWhoHas, std::string_view("\x3D\x09\0Object 6", 11)}), 0U);
  const std::string read = encode(ReadPropertyRequest{{0, 9}, {85, {}}});
  asker.heard.clear();
  ConfirmedRequest request = asker.asking();
  request.service = ConfirmedService::kReadProperty;
  request.data = read;
  asker.broadcast(kBroadcast, request);
  settle();
  EXPECT_TRUE(asker.heard.empty());
}

/// What a device sends to a datagram, before time goes on for long.
class BacnetServerDatagrams : public BacnetServer {
 protected:
  std::vector<Apdu> answersTo(const std::string& bytes) {
    net.forget();
    peer->send(kAt, bytes);
    settle(2ms);
    std::vector<Apdu> answers;
    for (const auto& each : net.sent()) {
      if (each.from != kAt) continue;
      const auto bvlc = parseBvlc(each.bytes);
      const auto npdu = bvlc ? parseNpdu(bvlc->npdu) : std::nullopt;
      const auto apdu = npdu ? parseApdu(npdu->apdu) : std::nullopt;
      if (apdu) answers.push_back(*apdu);  // its views end with the next call
      EXPECT_TRUE(apdu);
    }
    return answers;
  }

  std::unique_ptr<io::CDatagrams> peer = net.open({0x0A000003, 47808});
  const std::vector<support::GoldenDatagram> golden = support::goldenDatagrams();
};

TEST_F(BacnetServerDatagrams, OfOtherStacksAreAnsweredOnceEachAndBroadcastsNeverByAnError) {
  int requests = 0;
  for (const auto& each : golden) {
    const auto bvlc = parseBvlc(each.bytes);
    const auto npdu = bvlc ? parseNpdu(bvlc->npdu) : std::nullopt;
    const auto apdu = npdu && !npdu->message ? parseApdu(npdu->apdu) : std::nullopt;
    const auto* request = apdu ? std::get_if<ConfirmedRequest>(&*apdu) : nullptr;
    const bool isForDevice = bvlc && bvlc->function == BvlcFunction::kOriginalUnicast && npdu && !npdu->destination;
    if (request != nullptr && !request->segment && isForDevice) {
      ++requests;
      const auto answers = answersTo(each.bytes);
      ASSERT_GE(answers.size(), 1U) << each.name;
      EXPECT_NE(support::BacnetAsker::describe(answers[0]), "request") << each.name;
    }
    std::string broadcast = each.bytes;
    broadcast[1] = static_cast<char>(BvlcFunction::kOriginalBroadcast);
    for (const Apdu& answer : answersTo(broadcast))
      EXPECT_EQ(support::BacnetAsker::describe(answer), "request") << each.name;
  }
  EXPECT_GT(requests, 20);
}

TEST_F(BacnetServerDatagrams, DamagedInAnyWayLeaveTheDeviceAlive) {
  for (const auto& each : golden) {
    for (std::size_t length = 0; length < each.bytes.size(); ++length) {
      std::string cut = each.bytes.substr(0, length);
      answersTo(cut);
      if (length < 4) continue;
      cut[2] = static_cast<char>(length >> 8);
      cut[3] = static_cast<char>(length);
      answersTo(cut);
    }
    for (std::size_t bit = 0; bit < 8 * each.bytes.size(); ++bit) {
      std::string flipped = each.bytes;
      flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
      answersTo(flipped);
    }
  }
  settle(60s);  // transactions that were begun are over
  EXPECT_EQ(asker.read(kDevice, 75), "8,4711");
}

}  // namespace

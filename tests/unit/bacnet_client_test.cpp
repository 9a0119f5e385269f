#include <random>

#include "support/device_client_fixture.h"

namespace test {
namespace {

using namespace bacnet;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

const std::string kNothing;

TEST_F(DeviceClient, EachKindOfAnswerHasItsOutcome) {
  const Answer garbage = [](const auto& r) { return ErrorPdu{r.invokeId, r.service, "?"}; };
  const Answer simple = [](const auto& r) { return SimpleAck{r.invokeId, r.service}; };
  // What answers another request leaves this one waiting.
  const Answer ofWrite = [](const auto& r) { return SimpleAck{r.invokeId, ConfirmedService::kWriteProperty}; };
  const Answer ofOther = [](const auto& r) { return RejectPdu{static_cast<std::uint8_t>(r.invokeId - 1), 0}; };
  const struct {
    Answer answer;
    std::string outcome;
    int ms;
  } cases[] = {
      {errs(2, 32), "error 32", 2},
      {garbage, "undecodable", 2},
      {rejects(200), "reject 200", 2},
      {aborts(201), "abort 201", 2},
      {aborts(4, false), "abort 4", 2},
      {acknowledges(encode(ReadPropertyAck{analog(4), {property::kPresentValue, {}}, {1.0F}})), "undecodable", 2},
      {simple, "undecodable", 2},
      {ofWrite, "silent", 2500},
      {ofOther, "silent", 2500},
  };
  make();
  EXPECT_EQ(readOne(3), "3");
  for (const auto& one : cases) {
    device.script = always(one.answer);
    EXPECT_EQ(readOne(3), one.outcome);
    EXPECT_EQ(took, one.ms) << one.outcome;
    wait(seconds(2));  // a probe ends the silence
  }
}

TEST_F(DeviceClient, ARequestIsRepeatedAfterOneAndTwoSeconds) {
  const std::pair<int, int> cases[] = {{0, 2}, {1, 1002}, {2, 2002}};
  make();
  for (const auto& [lost, ms] : cases) {
    loseRequests(lost);
    EXPECT_EQ(readOne(7), "7");
    EXPECT_EQ(took, ms);
  }
  loseRequests(3);
  net.forget();
  EXPECT_EQ(readOne(7), "silent");
  EXPECT_EQ(took, 2500);
  EXPECT_THAT(net.sent(), SizeIs(3));
}

TEST_F(DeviceClient, ASilentDeviceAnswersAtOnceAndIsProbedUntilItIsBack) {
  make();
  device.isMute = true;
  EXPECT_THAT(read(presentValues(11)), Each("silent"));
  EXPECT_EQ(took, 2500);
  EXPECT_TRUE(client->profile().isSilent);
  device.asked.clear();
  const int since = now();
  for (int i = 0; i < 11; ++i) EXPECT_EQ(readOne(7), "silent");
  EXPECT_EQ(now(), since) << "none of them waits";
  wait(seconds(100));
  std::vector<int> probes;
  for (const auto& one : device.asked) probes.push_back((one.ms - device.asked.front().ms) / 1000 + 1);
  EXPECT_THAT(probes, ElementsAre(1, 3, 7, 15, 31, 61, 91));
  device.isMute = false;
  wait(seconds(30));
  EXPECT_EQ(readOne(7), "7");
  EXPECT_EQ(took, 2);
  EXPECT_THAT(events, ElementsAre(HasSubstr("does not answer"), HasSubstr("answers again")));
}

TEST_F(DeviceClient, OneRequestThatIsNeverAnsweredMakesNoLine) {
  make();
  const auto isOfFive = [](const auto& request, auto) {
    return parseReadProperty(request.data).value_or(ReadPropertyRequest()).object == analog(5);
  };
  device.script = where(isOfFive, keepsQuiet());
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(readOne(5), "silent");
    wait(milliseconds(1500));
    EXPECT_EQ(readOne(6), "6");
  }
  EXPECT_THAT(events, SizeIs(0));
}

TEST_F(DeviceClient, ALateAnswerIsForTheNextRead) {
  make();
  delayAnswers(3500);
  EXPECT_EQ(readOne(9), "silent");
  wait(seconds(2));
  device.asked.clear();
  EXPECT_EQ(readOne(9), "9");
  EXPECT_EQ(took, 0);
  EXPECT_THAT(device.asked, SizeIs(0));
  EXPECT_EQ(readOne(9), "silent") << "only once";
  wait(seconds(20));
  net.setScript(nullptr);
  EXPECT_EQ(readOne(9), "9");
  EXPECT_EQ(took, 2) << "ten seconds at most";
}

TEST_F(DeviceClient, WhatWasAskedBeforeAWriteIsNotKeptForAfterIt) {
  make();
  const int msUntilAnswers[] = {1000, 3500};  // of a read whose caller still waits, and is gone
  for (const int ms : msUntilAnswers) {
    device.set(analog(9), 9.0F);
    delayAnswers(ms);
    std::string old;
    client->read({{presentValue(analog(9)), 5}}, clock.now() + milliseconds(2500),
                 [&](const std::vector<ReadOutcome>& outcomes) { old = text(outcomes.front()); });
    wait(milliseconds(ms == 1000 ? 100 : 2600));
    net.setScript(nullptr);
    device.iAm();
    wait(milliseconds(10));
    EXPECT_THAT(write({{presentValue(analog(9)), {11.0F}, 8}}), ElementsAre("written"));
    device.set(analog(9), 11.0F);
    wait(seconds(2));
    EXPECT_EQ(old, ms == 1000 ? "9" : "silent");
    EXPECT_EQ(readOne(9), "11") << ms;
    wait(seconds(10));
  }
}

TEST_F(DeviceClient, AnAnswerCountsFromItsOwnStationOnly) {
  make();
  CScriptedDevice stranger(net, clock, kElsewhere, 1);
  device.isMute = true;
  const auto impostor = [&](const std::optional<NetworkAddress>& behind, CScriptedDevice& sender) {
    device.asked.clear();
    client->read({{presentValue(analog(1)), 5}}, clock.now() + seconds(2), [](const auto&) {});
    wait(milliseconds(10));
    const std::string data = encode(ReadPropertyAck{analog(1), {property::kPresentValue, {}}, {666.0F}});
    sender.behind = behind;
    device.isMute = false;
    sender.send(ComplexAck{device.asked.back().invokeId, ConfirmedService::kReadProperty, {}, data});
    sender.behind = std::nullopt;
    device.isMute = true;
  };
  socket->send(kElsewhere, "");  // so that the stranger knows whom to write to
  wait(milliseconds(5));
  stranger.isMute = false;
  impostor(std::nullopt, stranger);
  impostor(NetworkAddress{5, "\x07"}, device);
  device.isMute = false;
  wait(milliseconds(1500));
  EXPECT_EQ(readOne(1), "1");
}

TEST_F(DeviceClient, ARefusedPortEndsTheWaitAndDoesNotStick) {
  make();
  net.setRefuses(true);
  device.moveTo(kElsewhere);
  EXPECT_EQ(readOne(1), "silent");
  EXPECT_EQ(took, 1);
  EXPECT_EQ(readOne(1), "silent");
  EXPECT_EQ(took, 0);
  device.moveTo(kDevice);
  wait(milliseconds(1010));
  EXPECT_EQ(readOne(1), "1");
  EXPECT_THAT(events, SizeIs(0));
}

TEST_F(DeviceClient, NoInvokeIdIsUsedAgainWhileAnAnswerMayCome) {
  make([](auto& settings) { settings.mayReadMultiple = false; });
  net.setWeather({0.1, 0.1, 0.2, 0, milliseconds(3)}, 7);
  for (int round = 0; round < 40; ++round) {
    read(presentValues(100));
    wait(seconds(2));
  }
  std::map<int, std::pair<int, int>> lastOf;  // id: first try, and how many
  int repeats = 0;
  for (const auto& one : device.asked) {
    auto [last, isNew] = lastOf.try_emplace(one.invokeId, one.ms, 0);
    const int since = one.ms - last->second.first;
    const bool isRepeat = since >= 990 && since < 2600;
    repeats += isRepeat;
    if (last->second.second > 1 && !isRepeat) {
      EXPECT_GE(since, 59900) << "after a repetition";
    }
    if (!isRepeat) last->second = {one.ms, 0};
    ++last->second.second;
  }
  EXPECT_GT(repeats, 10);
}

TEST_F(DeviceClient, BatchesFitWhatBothSidesTake) {
  const struct {
    std::size_t apdu;
    bool hasIndex;
    std::size_t requests;  // for 100 points whose values take 5 octets
  } cases[] = {{50, false, 50}, {206, false, 9}, {480, false, 4}, {1476, false, 2}, {480, true, 4}};
  for (const auto& one : cases) {
    device.maxApdu = one.apdu;
    make([](auto& settings) { settings.mayReadMultiple = true; });
    auto items = presentValues(100);
    if (one.hasIndex) {
      for (auto& item : items) {
        item.address.reference = {property::kPriorityArray, 8};
        device.properties[item.address] = Values{1.0F};
      }
    }
    const auto outcomes = read(std::move(items));
    EXPECT_EQ(outcomes[99], one.hasIndex ? "1" : "99");
    EXPECT_EQ(device.asked.size(), one.requests) << one.apdu;
    for (const auto& asked : device.asked) EXPECT_LE(asked.octets, one.apdu);
    device.asked.clear();
    write(writesOf(1, 0), milliseconds(2500));
  }
}

TEST_F(DeviceClient, ARefusedBatchIsMadeSmallerAndThatRemembered) {
  const auto never = [](std::size_t) { return false; };
  const auto upTo = [](std::size_t most) { return [most](std::size_t items) { return items <= most; }; };
  const struct {
    const char* what;
    std::function<bool(std::size_t)> takes;
    Answer refusal;
    std::size_t first, again, remembered;
  } cases[] = {
      {"no such service", never, rejects(9), 41, 40, 1},
      {"service denied", never, errs(5, 29), 41, 40, 1},
      {"too long an answer", upTo(5), aborts(4), 13, 8, 5},
      {"some other reject", upTo(10), rejects(0), 7, 4, 10},
      {"a bad point spoils all", upTo(20), errs(1, 31), 3, 3, 0},
      {"an answer that is not to be read", upTo(20), acknowledges("\x0c?"), 3, 3, 0},
  };
  for (const auto& one : cases) {
    device.script = nullptr;
    make([](auto& settings) { settings.mayReadMultiple = true; });
    device.script = where([&](const auto&, auto items) { return items > 1 && !one.takes(items); }, one.refusal);
    for (const std::size_t requests : {one.first, one.again}) {
      device.asked.clear();
      const auto outcomes = read(presentValues(40));
      for (std::size_t i = 0; i < 40; ++i) EXPECT_EQ(outcomes[i], std::to_string(i)) << one.what;
      EXPECT_EQ(device.asked.size(), requests) << one.what;
    }
    EXPECT_EQ(client->profile().readBatch, one.remembered) << one.what;
  }
}

TEST_F(DeviceClient, AValueThatIsTooLongEvenAloneKeepsNoOtherFromBatches) {
  device.maxApdu = 206;
  const auto tooLong = presentValue(analog(3));
  device.properties[tooLong] = Values{OctetString{std::string(300, 'x')}};
  make([](auto& settings) { settings.mayReadMultiple = true; });
  for (int round = 0; round < 2; ++round) {
    device.asked.clear();
    const auto outcomes = read(presentValues(11));
    for (std::size_t i = 0; i < 11; ++i) EXPECT_EQ(outcomes[i], i == 3 ? "abort 4" : std::to_string(i));
  }
  EXPECT_EQ(device.asked.size(), 2U) << "the others, and that one";
  EXPECT_EQ(client->profile().readBatch, 0U) << "no limit";
  device.properties[tooLong] = Values{3.0F};
  EXPECT_EQ(read(presentValues(11))[3], "3");
  device.asked.clear();
  EXPECT_EQ(read(presentValues(11))[3], "3");
  EXPECT_EQ(device.asked.size(), 1U) << "it is as the others by now";
}

// It may have learnt it meanwhile.
TEST_F(DeviceClient, ABatchThatWasRefusedIsTriedAgainAfterARestartAndAConnect) {
  const auto restart = [this] {
    device.isDead = true;
    readOne(0);
    wait(seconds(4));
    device.isDead = false;
    device.iAm();
    wait(milliseconds(10));
  };
  const auto connect = [this] {
    client->start();
    readOne(0);
    EXPECT_EQ(client->profile().readBatch, 1) << "hosts connect often";
    wait(minutes(11));
    client->start();
  };
  for (const auto& happens : {std::function<void()>(restart), std::function<void()>(connect)}) {
    make([](auto& settings) { settings.mayReadMultiple = settings.mayWriteMultiple = true; });
    device.script = where([](const auto&, auto items) { return items > 1; }, rejects(9));
    read(presentValues(4));
    write(writesOf(4, 1));
    EXPECT_EQ(client->profile().readBatch, 1);
    EXPECT_EQ(client->profile().writeBatch, 1);
    device.script = nullptr;
    happens();
    device.asked.clear();
    read(presentValues(4));
    write(writesOf(4, 1));
    EXPECT_EQ(device.count(ConfirmedService::kReadPropertyMultiple), 1);
    EXPECT_EQ(device.count(ConfirmedService::kWritePropertyMultiple), 1);
  }
}

TEST_F(DeviceClient, ABatchThatGetsNoAnswerIsMadeSmaller) {
  make([](auto& settings) { settings.mayReadMultiple = true; });
  device.script = where([](const auto&, auto items) { return items > 10; }, keepsQuiet());
  std::vector<std::size_t> limits;
  for (int i = 0; i < 3; ++i) {
    read(presentValues(40));
    wait(seconds(2));
    limits.push_back(client->profile().readBatch);
  }
  EXPECT_THAT(limits, ElementsAre(20, 10, 10));
  EXPECT_EQ(read(presentValues(40)).back(), "39");
  device.script = nullptr;
  read(presentValues(40));
  loseRequests(3);
  EXPECT_EQ(read(presentValues(10)).front(), "silent");
  wait(seconds(2));
  EXPECT_EQ(client->profile().readBatch, 10) << "it has taken that before";
  // A device that was really away keeps what it takes.
  device.isMute = true;
  read(presentValues(40));
  wait(seconds(20));
  device.isMute = false;
  wait(seconds(20));
  EXPECT_EQ(client->profile().readBatch, 10);
  EXPECT_EQ(read(presentValues(40)).back(), "39");
}

TEST_F(DeviceClient, OneBadPointOfABatchFailsAlone) {
  make([](auto& settings) { settings.mayReadMultiple = settings.mayWriteMultiple = true; });
  for (std::uint32_t bad = 0; bad < 11; ++bad) {
    device.properties.erase(presentValue(analog(bad)));
    device.asked.clear();
    const auto values = read(presentValues(11));
    const auto written = write(writesOf(11, 5));
    for (std::uint32_t i = 0; i < 11; ++i) {
      EXPECT_EQ(values[i], i == bad ? "error 31" : std::to_string(i));
      EXPECT_EQ(written[i], i == bad ? "error 31" : "written");
      EXPECT_TRUE(i == bad || device.get(analog(i)) == Values{5.0F}) << "also what stood behind the bad one";
    }
    EXPECT_EQ(device.asked.size(), 2 + 10 - bad) << "one each, and what stood behind";
    for (std::uint32_t i = 0; i < 11; ++i) device.set(analog(i), static_cast<float>(i));
  }
  device.script = always(rejects(9));
  EXPECT_THAT(write(writesOf(3, 1)), Each("reject 9"));
  EXPECT_EQ(client->profile().writeBatch, 1);
}

TEST_F(DeviceClient, SegmentsGoBothWaysAndSurviveLoss) {
  device.segmentOctets = 40;
  const std::string longText(600, 'x');
  const PropertyAddress description{analog(1), {property::kDescription, {}}};
  for (int lost = -1; lost < 30; ++lost) {
    net.setScript(nullptr);
    make();
    device.properties[description] = Values{CharacterString{0, longText}};
    int n = 0;
    net.setScript([&](const auto&) {
      io::CFakeNetwork::Fate fate;
      if (n++ == lost) fate.delays.clear();
      return fate;
    });
    EXPECT_EQ(read({{description, 606}}), std::vector<std::string>{longText}) << lost;
    EXPECT_LE(took, 1100) << lost;
  }
  net.setScript(nullptr);
  device.maxApdu = 50;
  make();
  client->onApdu({Station{kDevice, {}}, kDevice, false, false},
                 UnconfirmedRequest{UnconfirmedService::kIAm, encode(IAm{kDeviceId, 50, Segmentation::kBoth, 7})});
  const std::string other(500, 'y');
  EXPECT_THAT(write({{description, {CharacterString{0, other}}, {}}}), Each("written"));
  EXPECT_EQ(std::get<Values>(device.properties[description]), (Values{CharacterString{0, other}}));
  client->onApdu({Station{kDevice, {}}, kDevice, false, false},
                 UnconfirmedRequest{UnconfirmedService::kIAm, encode(IAm{kDeviceId, 50, Segmentation::kNone, 7})});
  EXPECT_THAT(write({{description, {CharacterString{0, other}}, {}}}), Each("too long"));
}

TEST_F(DeviceClient, AnEndlessAnswerIsAborted) {
  make();
  const std::string piece(1400, 'x');
  device.script = [&](const ConfirmedRequest& request, std::size_t) -> std::optional<Apdu> {
    for (int i = 0; i < 2000; ++i) {
      ComplexAck ack{request.invokeId, request.service, Segment{static_cast<std::uint8_t>(i), 16, true}, piece};
      device.send(ack);
    }
    return kNoAnswer;
  };
  EXPECT_EQ(readOne(1), "abort 1");
}

TEST_F(DeviceClient, ABadLineBringsNoWrongValue) {
  make([](auto& settings) { settings.mayReadMultiple = settings.mayWriteMultiple = true; });
  device.segmentOctets = 300;
  net.setWeather({0.1, 0.1, 0.1, 0.1, milliseconds(2)}, 20);
  int good = 0;
  for (int round = 0; round < 100; ++round) {
    const auto outcomes = read(presentValues(100));
    for (std::size_t i = 0; i < 100; ++i) {
      good += outcomes[i] == std::to_string(i);
      EXPECT_TRUE(outcomes[i] == std::to_string(i) || outcomes[i] == "silent") << outcomes[i];
    }
    wait(seconds(1));
  }
  EXPECT_GT(good, 5000);
  net.setWeather({}, 0);
  wait(seconds(40));
  EXPECT_EQ(read(presentValues(1000)).back(), "999") << "nothing is left of it";
}

TEST_F(DeviceClient, GarbageHarmsNothing) {
  make([](auto& settings) { settings.mayReadMultiple = true; });
  for (std::uint32_t i = 0; i < 10; ++i) client->subscribe(analog(i), true);
  device.segmentOctets = 100;
  read(presentValues(100));
  device.iAm();
  wait(seconds(1));
  std::vector<std::string> seeds;
  for (const auto& datagram : net.sent()) seeds.push_back(datagram.bytes);
  const auto asDevice = net.open(kDevice);
  const auto asStranger = net.open(kElsewhere);
  std::mt19937 random(7);
  for (int i = 0; i < 20000; ++i) {
    std::string bytes = seeds[random() % seeds.size()];
    for (auto flips = random() % 4; flips > 0; --flips)
      bytes[random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
    bytes.resize(random() % 4 == 0 ? random() % (bytes.size() + 1) : bytes.size());
    (random() % 4 == 0 ? asStranger : asDevice)->send(kPanel, bytes);
    if (i % 50 == 0) client->read(presentValues(30), clock.now() + seconds(1), [](const auto&) {});
    wait(milliseconds(2));
  }
  net.forget();
  wait(minutes(6));
  EXPECT_EQ(read(presentValues(1000)).back(), "999");
  EXPECT_EQ(client->profile().station, (Station{kDevice, {}}));
}

TEST_F(DeviceClient, MoreCallersThanCanBeServedAreTurnedAway) {
  make();
  int turnedAway = 0;
  int answers = 0;
  for (int i = 0; i < 5000; ++i) {
    client->read({{presentValue(analog(1)), 5}}, clock.now() + seconds(1), [&](const auto& outcomes) {
      ++answers;
      turnedAway += text(outcomes.front()) == "silent" && now() == 0;
    });
  }
  EXPECT_NEAR(turnedAway, 900, 10);
  wait(seconds(1));
  EXPECT_EQ(answers, 5000);
}

TEST_F(DeviceClient, ManyCallersShareADeviceFairly) {
  make([](auto& settings) { settings.mayReadMultiple = false; });
  std::vector<std::string> order;
  const auto call = [&](const char* name, std::size_t items) {
    client->read(presentValues(items), clock.now() + seconds(2), [&order, name, items](const auto& outcomes) {
      EXPECT_EQ(text(outcomes.back()), std::to_string(items - 1));
      order.push_back(name);
    });
  };
  call("all", 1000);
  call("ten", 10);
  call("one", 1);
  client->write(writesOf(1, 0), clock.now() + seconds(2), [&](const auto&) { order.push_back("write"); });
  wait(seconds(2));
  EXPECT_THAT(order, ElementsAre("one", "write", "ten", "all"));
}

TEST_F(DeviceClient, EveryPointOfASlowDeviceGetsItsTurn) {
  make([](auto& settings) { settings.mayReadMultiple = false; });
  delayAnswers(599);
  std::vector<int> values(11);
  for (int round = 0; round < 10; ++round) {
    const auto outcomes = read(presentValues(11));
    EXPECT_LE(took, 2500);
    for (std::size_t i = 0; i < 11; ++i) values[i] += outcomes[i] == std::to_string(i);
  }
  EXPECT_THAT(values, Each(::testing::Ge(3)));
}

}  // namespace
}  // namespace test

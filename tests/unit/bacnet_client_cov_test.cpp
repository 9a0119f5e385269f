#include <malloc.h>

#include "support/device_client_fixture.h"

namespace test {
namespace {

using namespace bacnet;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr auto kSubscribe = ConfirmedService::kSubscribeCov;
bool isSubscription(const ConfirmedRequest& request, std::size_t) {
  return request.service == kSubscribe;
}

/// A client that has subscribed to the first points, and been told their values.
class Cov : public DeviceClient {
 public:
  using DeviceClient::device;
  using DeviceClient::read;
  using DeviceClient::readOne;
  using DeviceClient::wait;

 protected:
  void subscribe(std::size_t points, bool confirmed = false) {
    make([](auto& settings) { settings.mayReadMultiple = true; });
    for (std::size_t i = 0; i < points; ++i) client->subscribe(analog(static_cast<std::uint32_t>(i)), confirmed);
    wait(milliseconds(100) + points * milliseconds(5));
    device.asked.clear();
  }
  /// What a read brings, and whether the device was asked for it.
  std::string known(std::uint32_t instance) {
    const auto before = device.asked.size();
    const auto text = readOne(instance);
    return text + (device.asked.size() == before ? "" : " (asked)");
  }
};

TEST_F(Cov, ASubscribedValueIsKnownWithoutAsking) {
  for (const bool confirmed : {false, true}) {
    subscribe(3, confirmed);
    EXPECT_EQ(known(2), "2");
    device.set(analog(2), 55.0F);
    wait(milliseconds(10));
    EXPECT_EQ(known(2), "55");
    EXPECT_EQ(known(4), "4 (asked)");
    EXPECT_EQ(read({{{analog(2), {property::kPresentValue, 1}}, 5}}).front(), "error 31") << "an element is another";
    device.set(analog(2), 2.0F);
  }
  EXPECT_EQ(device.subscriptions.at(analog(1)).lifetime, 300);
  EXPECT_THAT(device.heard, SizeIs(3 + 1)) << "each confirmed notification is acknowledged";
}

TEST_F(Cov, NotificationsForOthersAreNotOurs) {
  subscribe(1, true);
  device.heard.clear();
  device.notify(analog(0), 2, true);  // another process
  wait(milliseconds(10));
  EXPECT_THAT(device.heard, IsEmpty());
  device.notify(analog(500), 1, true);  // none that we have subscribed to
  wait(milliseconds(10));
  ASSERT_THAT(device.heard, SizeIs(1));
  EXPECT_TRUE(std::holds_alternative<ErrorPdu>(device.heard.front()));
  device.send(ConfirmedRequest{9, ConfirmedService::kWriteProperty, false, 0, 480, {}, "?"});
  wait(milliseconds(10));
  EXPECT_EQ(std::get<RejectPdu>(device.heard.back()).reason, reject_reason::kUnrecognizedService);
}

TEST_F(Cov, AValueCountsWhileTheDeviceHasBeenHeard) {
  subscribe(6);
  wait(minutes(4));
  device.asked.clear();
  EXPECT_EQ(known(5), "5") << "the comparison keeps it alive";
  readOne(999);
  device.isMute = true;
  wait(seconds(14));
  EXPECT_EQ(known(5), "5");
  wait(seconds(2));
  EXPECT_EQ(readOne(5), "silent");
}

TEST_F(Cov, AWriteDropsTheValue) {
  subscribe(2);
  device.script = where([](const auto& r, auto) { return r.service == ConfirmedService::kWriteProperty; },
                        [](const auto& r) {
                          return SimpleAck{r.invokeId, r.service};
                        });  // of a lower priority
  EXPECT_EQ(known(1), "1");
  write({{presentValue(analog(1)), {7.0F}, 16}});
  EXPECT_EQ(known(1), "1 (asked)");
  EXPECT_EQ(known(1), "1") << "read anew, and as it was reported";
  EXPECT_EQ(known(0), "0");
}

TEST_F(Cov, WhatWasReadBeforeAWriteIsNotTheValueAfterIt) {
  subscribe(2);
  const PropertyAddress address = presentValue(analog(1));
  write({{address, {1.0F}, 16}});  // so that the next read asks
  net.setScript([&, answers = 0](const io::CFakeNetwork::Datagram& datagram) mutable {
    io::CFakeNetwork::Fate fate;
    if (datagram.from == kDevice) fate.delays = {milliseconds(++answers == 1 ? 1000 : 500)};
    return fate;
  });
  client->read({{address, 5}}, clock.now() + seconds(2), [](const auto&) {});
  client->write({{address, {7.0F}, 8}}, clock.now() + seconds(2), [](const auto&) {});
  wait(milliseconds(100));
  device.properties[address] = Values{7.0F};  // the notification gets lost
  wait(seconds(2));
  net.setScript(nullptr);
  EXPECT_EQ(known(1), "7 (asked)");
}

TEST_F(Cov, ANotificationThatComesSecondsLateIsNotTheValue) {
  subscribe(1, true);
  wait(seconds(30));
  device.timeRemaining = 270;
  device.set(analog(0), 5.0F);
  wait(milliseconds(10));
  EXPECT_EQ(known(0), "5");
  wait(seconds(3));
  device.notify(analog(0), 1, true);  // the same again, but by now
  device.properties[presentValue(analog(0))] = Values{6.0F};
  wait(milliseconds(10));
  EXPECT_EQ(known(0), "6 (asked)");
}

TEST_F(Cov, AnErrorInPlaceOfAValueEndsIt) {
  subscribe(6);
  device.properties[presentValue(analog(3))] = Error{1, error_code::kUnknownObject};
  EXPECT_EQ(known(3), "3");
  wait(seconds(61));
  EXPECT_EQ(known(3), "error 31 (asked)");
}

TEST_F(Cov, AValueOfASubscriptionThatEndedDoesNotComeBack) {
  subscribe(1);
  bool answers = false;
  device.script = where(isSubscription, [&](const auto& request) {
    return answers ? Apdu(SimpleAck{request.invokeId, kSubscribe}) : kNoAnswer;  // its first notification gets lost
  });
  for (int i = 0; i < 400 && known(0) == "0"; ++i) wait(seconds(1));
  device.properties[presentValue(analog(0))] = Values{50.0F};
  EXPECT_EQ(known(0), "50 (asked)");
  answers = true;
  const auto before = device.count(kSubscribe);
  for (int i = 0; i < 700 && device.count(kSubscribe) == before; ++i) wait(seconds(1));
  wait(milliseconds(100));
  EXPECT_EQ(known(0), "50 (asked)");
}

TEST_F(Cov, ARestartedDeviceIsSubscribedAnew) {
  const struct {
    const char* what;
    std::function<void(Cov&)> restart;
    io::Duration within;
  } cases[] = {
      {"away for long", [](Cov& t) { t.device.isMute = true, t.read(presentValues(60)), t.wait(seconds(9)); },
       seconds(31)},
      {"away shortly, and says so",
       [](Cov& t) {
         t.read({{presentValue(analog(999)), 5}});
         t.device.isMute = true, t.readOne(999), t.device.isMute = false, t.device.iAm();
       },
       seconds(1)},
      {"unnoticed, but for its I-Am", [](Cov& t) { t.device.iAm(); }, seconds(6)},
      {"unnoticed", [](Cov&) {}, seconds(66)},
  };
  for (const auto& one : cases) {
    device.isMute = false;
    subscribe(60);
    wait(seconds(15));
    device.subscriptions.clear();
    one.restart(*this);
    device.isMute = false;
    for (std::uint32_t i = 0; i < 60; ++i) device.set(analog(i), 100.0F);
    wait(one.within);
    EXPECT_THAT(device.subscriptions, SizeIs(60)) << one.what;
    device.asked.clear();
    EXPECT_EQ(known(59), "100") << one.what;
    for (std::uint32_t i = 0; i < 60; ++i) device.set(analog(i), static_cast<float>(i));
  }
}

TEST_F(Cov, AChangeBelowTheIncrementMeansNothing) {
  for (std::uint32_t i = 0; i < 6; ++i) device.properties[{analog(i), {property::kCovIncrement, {}}}] = Values{0.5F};
  subscribe(6);
  for (int i = 0; i < 20; ++i) {  // drifts without a notification
    device.properties[presentValue(analog(3))] = Values{3.0F + static_cast<float>(i) / 64};
    wait(seconds(61));
  }
  EXPECT_LE(device.count(kSubscribe), 6 * 10) << "renewals alone";
  EXPECT_EQ(known(3), "3.296875") << "what was compared last";
  const auto before = device.count(kSubscribe);
  device.properties[presentValue(analog(3))] = Values{9.0F};
  wait(seconds(66));
  EXPECT_GE(device.count(kSubscribe), before + 6);
  EXPECT_EQ(known(3), "9");
}

TEST_F(Cov, ARefusedSubscriptionIsPolledAndAskedForAgain) {
  const struct {
    Answer answer;
    std::size_t lines;
    std::size_t requests;  // in twenty minutes
  } cases[] = {
      {errs(3, error_code::kNoSpaceToAddListElement), 1, 9},
      {errs(5, error_code::kOptionalFunctionalityNotSupported), 1, 3},
      {rejects(9), 1, 3},
      {keepsQuiet(), 0, 9},  // three tries
  };
  for (const auto& one : cases) {
    device.script = where(isSubscription, one.answer);
    make();
    for (std::uint32_t i = 0; i < 3; ++i) client->subscribe(analog(i), false);
    wait(minutes(20) + seconds(30));
    EXPECT_EQ(known(1), "1 (asked)");
    EXPECT_THAT(events, SizeIs(one.lines));
    EXPECT_EQ(device.count(kSubscribe), one.requests);
    device.script = nullptr;
    wait(minutes(10));
    EXPECT_EQ(known(1), "1");
  }
}

TEST_F(Cov, ADayOfManySubscriptions) {
  constexpr std::uint32_t kPoints = 50;
  subscribe(kPoints);
  std::size_t requests = 0;
  std::size_t busiest = 0;  // ten seconds, in requests
  std::size_t held = 0;     // bytes, after an hour
  for (int minute = 0; minute < 24 * 60; ++minute) {
    if (minute == 60) held = mallinfo2().uordblks;
    const auto instance = static_cast<std::uint32_t>(minute * 7919) % kPoints;
    device.set(analog(instance), static_cast<float>(minute));
    for (int second = 0; second < 60; second += 10) {
      const auto before = device.count(kSubscribe);
      wait(seconds(10));
      busiest = std::max(busiest, device.count(kSubscribe) - before);
    }
    ASSERT_EQ(readOne(instance), std::to_string(minute));
    requests += device.count(kSubscribe);
    device.asked.clear();
    net.forget();
  }
  EXPECT_THAT(device.subscriptions, SizeIs(kPoints));
  EXPECT_NEAR(static_cast<double>(requests), kPoints * 24 * 60 * 60 / 150.0, kPoints * 2.0);
  EXPECT_LE(busiest, 8) << "of fifty in 150 s";
  EXPECT_LE(mallinfo2().uordblks, held + 4096);
  EXPECT_THAT(events, IsEmpty());
}

}  // namespace
}  // namespace test

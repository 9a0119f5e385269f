#include "reliability/network/faults.h"

#include <csignal>

#include "bacnet/network/network.h"
#include "reliability/network/namespaces.h"

namespace reliability {

namespace {

// What a value's age may be, as docs/bacnet.md has it: an answer counts to 6 s and is kept for 10 s; a subscribed point
// has its turn to be read once a minute.
constexpr milliseconds kOldestRead{16000};
constexpr milliseconds kOldestSubscribed{62500};

constexpr int kStrangerPlace = 61;
constexpr int kRouterPlace = 60;
constexpr int kPlacesBetween = 20;  // the two of a device that moves

#define BATCHES "<EnableReadPropm>1</EnableReadPropm><EnableWritePropm>1</EnableWritePropm>"
#define ROUTED                                                              \
  BATCHES                                                                   \
  "<Ip>192.0.2.70</Ip><Mode>1</Mode><Network>5</Network><MacLen>6</MacLen>" \
  "<VirtualMac>@:47808</VirtualMac>"

const LinkKind kOther{"in batches", BATCHES "<Ip>@</Ip>", 22, false, kOldestRead};
const std::vector<LinkKind> kUsual = {
    {"in batches", BATCHES "<Ip>@</Ip>", 33, false, kOldestRead},
    {"singly", "<Ip>@</Ip>", 8, true, kOldestRead},
    {"subscribed", BATCHES "<Ip>@</Ip><EnableSCOV>1</EnableSCOV>", 12, false, kOldestSubscribed},
    {"subscribed, confirmed", BATCHES "<Ip>@</Ip><EnableSCOV>2</EnableSCOV>", 12, false, kOldestSubscribed},
};
const std::vector<LinkKind> kSearched = {
    {"in batches", BATCHES, 33, false, kOldestRead},
    {"subscribed", BATCHES "<EnableSCOV>1</EnableSCOV>", 12, false, kOldestSubscribed},
};
const std::vector<LinkKind> kRouted = {
    {"in batches", ROUTED, 33, false, kOldestRead},
    {"subscribed", ROUTED "<EnableSCOV>1</EnableSCOV>", 12, false, kOldestSubscribed},
};
const std::vector<LinkKind> kTen(10, kOther);

#undef ROUTED
#undef BATCHES

io::Address addressOf(int place) {
  return {CPlant::address(place), bacnet::kStandardPort};
}

void startDevices(Scene& scene) {
  scene.eachTarget([](CLink& link) { link.startDevice(); });
}

void endDevices(Scene& scene) {
  scene.eachTarget([](CLink& link) { link.endDevice(); });
}

void startAnew(Scene& scene) {
  endDevices(scene);
  startDevices(scene);
}

void move(Scene& scene) {
  endDevices(scene);
  scene.hasMoved = !scene.hasMoved;
  const int by = scene.hasMoved ? kPlacesBetween : 0;
  scene.eachTarget([by](CLink& link) { link.startDevice(link.options().number + by); });
}

void stopDevices(Scene& scene) {
  scene.eachTarget([](CLink& link) { link.signalDevice(SIGSTOP); });
}

void continueDevices(Scene& scene) {
  scene.eachTarget([](CLink& link) { link.signalDevice(SIGCONT); });
}

void removeRouter(Scene& scene) {
  scene.router->setGone(true);
}

void returnRouter(Scene& scene) {
  scene.router->setGone(false);
}

void startStrangers(Scene& scene) {
  endDevices(scene);
  scene.eachTarget([](CLink& link) { link.startStranger(4000 + static_cast<std::uint32_t>(link.options().number)); });
}

void beginFlood(Scene& scene) {
  const io::Address panel{0xC0000201, bacnet::kStandardPort};
  const io::Address everybody{0xC00002FF, bacnet::kStandardPort};
  scene.plant.inField([&] { scene.flood = std::make_unique<CFlood>(addressOf(kStrangerPlace), panel, everybody); });
}

void endFlood(Scene& scene) {
  scene.flood.reset();
}

void interfaceDown(Scene&) {
  shell("ip link set eth0 down");
}

void interfaceUp(Scene&) {
  shell("ip link set eth0 up");
}

Fault fault(const char* name, const Weather& weather) {
  Fault made;
  made.name = name;
  made.weather = weather;
  made.kinds = &kUsual;
  return made;
}

Fault fault(const char* name, void (*begin)(Scene&), void (*end)(Scene&)) {
  Fault made = fault(name, Weather());
  made.begin = begin;
  made.end = end;
  return made;
}

Weather delayed(int most) {
  Weather weather;
  weather.delay = milliseconds(most);
  return weather;
}

std::vector<Fault> makeFaults() {
  std::vector<Fault> all;
  all.push_back(fault("10 % of the datagrams lost", {0.1}));
  all.push_back(fault("30 % lost", {0.3}));
  all.push_back(fault("all doubled", {0, 1}));
  all.push_back(fault("reordered: each delayed by up to 300 ms", delayed(300)));
  all.push_back(fault("each delayed by up to 5 s", delayed(5000)));
  all.back().keepsOrder = false;
  all.push_back(fault("30 % cut", {0, 0, 0.3}));
  all.push_back(fault("10 % of the answers up to 30 s late, or when their invoke id is used again", {0, 0, 0, 0.1}));
  all.back().keepsOrder = false;
  all.back().pause = milliseconds(10);  // the ids come round in seconds
  all.push_back(fault("device cut off", {1}));
  all.push_back(fault("device started anew", nullptr, startAnew));
  all.push_back(fault("device hangs, then answers all that it was asked", stopDevices, continueDevices));
  all.push_back(fault("port closed", endDevices, startDevices));
  all.push_back(fault("device gets another address", nullptr, move));
  all.back().kinds = &kSearched;
  all.push_back(fault("router gone", removeRouter, returnRouter));
  all.back().kinds = &kRouted;
  all.push_back(fault("a device of another number in its place", startStrangers, startAnew));
  all.back().mustSay = "device 40";
  all.push_back(fault("1,000 strangers' datagrams a second", beginFlood, endFlood));
  all.push_back(fault("panel's interface down", interfaceDown, interfaceUp));
  all.back().isForAll = true;
  all.push_back(fault("time of day set back by a day again and again, device cut off", {1}));
  all.back().setsClockBack = true;
  all.push_back(fault("10 of 50 devices dead", {1}));
  all.back().kinds = &kTen;
  all.back().others = 40;
  all.back().pause = milliseconds(500);
  return all;
}

Fault makeEveryday() {
  Weather weather;
  weather.lost = weather.doubled = 0.01;
  weather.cut = 0.002;
  weather.delay = milliseconds(30);
  return fault("everyday", weather);
}

}  // namespace

const std::vector<Fault>& allFaults() {
  static const std::vector<Fault> all = makeFaults();
  return all;
}

const Fault& everydayFault() {
  static const Fault everyday = makeEveryday();
  return everyday;
}

std::unique_ptr<Scene> makeScene(const Fault& fault, unsigned seed, milliseconds pause) {
  auto scene = std::make_unique<Scene>(seed);
  const std::string helper = fault.setsClockBack ? BIN_DIR "/clock_helper/BACnet_Velix" : BIN_DIR "/BACnet_Velix";
  if (fault.setsClockBack) ::setenv("WALL_CLOCK_JUMPS", "1", 1);
  if (fault.pause != milliseconds(0)) pause = fault.pause;
  if (fault.kinds == &kRouted) {
    scene->plant.inField([&] { scene->router = std::make_unique<CRouter>(addressOf(kRouterPlace)); });
  }
  std::set<std::uint32_t> targets;
  const auto add = [&](const LinkKind& kind, bool isTarget) {
    const int number = static_cast<int>(scene->links.size()) + 1;
    scene->links.push_back(
        std::make_unique<CLink>(scene->plant, CLink::Options{number, kind, isTarget, fault.keepsOrder, pause, helper}));
    if (!isTarget) return;
    targets.insert(CPlant::address(number));
  };
  for (const LinkKind& kind : *fault.kinds) add(kind, true);
  for (int i = 0; i < fault.others; ++i) add(kOther, false);
  scene->plant.wire().setTargets(targets);
  for (const auto& link : scene->links) link->startDevice();
  for (const auto& link : scene->links) link->startHost();
  return scene;
}

}  // namespace reliability

#include "reliability/network/plant.h"

#include <algorithm>
#include <regex>

#include "reliability/network/namespaces.h"

namespace reliability {

namespace {

constexpr int kLastPlace = 62;
constexpr int kLargestBatch = 11;
constexpr int kStrangerNumber = 63;
constexpr int kPositiveIntegerValue = 48;
constexpr auto kWriteEvery = std::chrono::seconds(1);

std::string element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

}  // namespace

CPlant::CPlant(unsigned seed) {
  const int field = makeNetwork();
  const int between = makeNetwork();
  if (field < 0 || between < 0) throw std::runtime_error("no network of its own");
  inField_ = [field](const std::function<void()>& act) { inNetwork(field, act); };
  const auto addEnd = [&](const char* end) {
    shell(std::string("ip link add eth0 type veth peer name ") + end + " netns " + networkPath(between));
    inNetwork(between, [&] { shell(std::string("ip link set ") + end + " up"); });
    shell("ip link set lo up && ip link set eth0 up");
  };
  addEnd("panel");
  shell("ip addr add 192.0.2.1/24 brd + dev eth0");
  inField([&] {
    addEnd("field");
    std::string lines;
    for (int place = 1; place <= kLastPlace; ++place) {
      lines += "addr add " + addressText(place) + "/24 brd + dev eth0\n";
    }
    shell("ip -batch - <<END\n" + lines + "END");
  });
  inNetwork(between, [&] { wire_ = std::make_unique<CWire>(openFrames("panel"), openFrames("field"), seed); });
}

CLink::CLink(CPlant& plant, const Options& options)
    : plant_(plant),
      options_(options),
      project_(options.helper),
      truth_(options.number, options.kind.oldest, options.keepsOrder) {
  unsetenv("BACNET_VELIX_TRACE");  // the helper's log is as in a building
  writeProject(std::regex_replace(options.kind.elements, std::regex("@"), CPlant::addressText(options.number)));
}

CLink::~CLink() {
  endHost();
}

std::string CLink::symbols(int link, int firstInstance) const {
  std::string all;
  for (int point = 0; point < options_.kind.points; ++point) {
    all += "<Symbol>" + element("Name", "P" + std::to_string(point)) +
           element("RegId", std::to_string(CTruth::regId(link, point))) +
           element("ObjectType", std::to_string(kPositiveIntegerValue)) +
           element("Instance", std::to_string(firstInstance + point)) + element("PropID", "85") +
           element("DataType", "UDINT") + "</Symbol>";
  }
  return all;
}

void CLink::writeProject(const std::string& elements) {
  const auto file = [&](const std::string& link, const std::string& symbolsXml) {
    return "<ProjectInfo><BACnet LinkID=" + link + ">" + elements +
           element("DeviceId", std::to_string(1000 + options_.number)) + "</BACnet><Symbols LinkID=" + link + ">" +
           symbolsXml + "</Symbols></ProjectInfo>";
  };
  const std::string link = "\"" + std::to_string(project_.link) + "\"";
  project_.dir.write("BACnetLabel.xml", file(link, symbols(options_.number, 1)));
  project_.dir.write("stranger.xml", file(link, symbols(kStrangerNumber, 1001)));
}

void CLink::startDevice(int place) {
  truth_.beginLife();
  plant_.inField([&] {
    device_ = std::make_unique<support::DeviceProgram>("--project " + project_.dir.project() + " --address " +
                                                       CPlant::addressText(place));
  });
  if (device_->readyLine().empty()) throw std::runtime_error("no device: " + device_->err());
  truth_.lives();
}

void CLink::startStranger(std::uint32_t deviceId) {
  plant_.inField([&] {
    device_ = std::make_unique<support::DeviceProgram>("--project " + project_.dir.file("stranger.xml") +
                                                       " --device-id " + std::to_string(deviceId) + " --address " +
                                                       CPlant::addressText(options_.number));
  });
}

void CLink::startHost() {
  driver_ = std::make_unique<support::LoadedDriver>();
  if ((*driver_)->init(project_.config("eth0")) != 0) throw std::runtime_error("the driver does not start");
  for (int point = 0; point < options_.kind.points; ++point) {
    registers_.push_back(support::preparedRegister(**driver_, CTruth::regId(options_.number, point)));
  }
  host_ = std::thread([this] { use(); });
}

void CLink::endHost() {
  isOver_ = true;
  if (host_.joinable()) host_.join();
}

Figures CLink::figures() const {
  const std::lock_guard lock(mutex_);
  return figures_;
}

void CLink::use() {
  timed([this] { return (*driver_)->connect(); });
  auto writeAt = Clock::now();
  while (!isOver_) {
    scan();
    if (Clock::now() < writeAt) continue;
    write();
    writeAt = Clock::now() + kWriteEvery;
  }
}

/// As a host does: what is refused altogether is asked for by itself once, and a lost connection is made anew.
template <typename Call>
std::int32_t CLink::timed(Call call) {
  asked_ = Clock::now();
  const std::int32_t code = call();
  answered_ = Clock::now();
  const std::lock_guard lock(mutex_);
  figures_.longest = std::max(figures_.longest, std::chrono::duration_cast<milliseconds>(answered_ - asked_));
  if (code == 0) return 0;
  ++figures_.codes[code];
  figures_.lastFailure = answered_;
  return code;
}

void CLink::scan() {
  const auto before = figures().lastFailure;
  const int points = options_.kind.points;
  for (int first = 0; first < points && !isOver_;) {
    const int count = options_.kind.readsSingly ? 1 : std::min(kLargestBatch, points - first);
    driver::Batch batch;
    for (int i = 0; i < count; ++i) batch.push_back({*std::next(registers_.begin(), first + i), {}});
    const std::int32_t code = timed([&] { return (*driver_)->readRegisters(batch); });
    int point = first;
    if (code == 0) {
      for (const driver::BatchItem& item : batch) take(point++, item.words);
    } else {
      timed([&] {
        return code < 0 ? (*driver_)->connect() : (*driver_)->readRegister(batch.front().reg, batch.front().words);
      });
      if (!batch.front().words.empty()) take(point, batch.front().words);
    }
    first += count;
    pause();
  }
  if (figures().lastFailure == before) isUp_ = true;
}

void CLink::write() {
  const int point = options_.kind.points - 1;
  CRegister& reg = registers_.back();
  const std::uint32_t value = truth_.beginWrite(point);
  const support::Words written = {static_cast<short>(value >> 16), static_cast<short>(value)};
  truth_.endWrite(timed([&] { return (*driver_)->writeRegister(reg, written); }) == 0);
  support::Words words;
  if (timed([&] { return (*driver_)->readRegister(reg, words); }) == 0) take(point, words);
  pause();
}

void CLink::take(int point, const support::Words& words) {
  const std::lock_guard lock(mutex_);
  if (words.size() != 2) {  // a point of a batch without a value
    figures_.lastFailure = answered_;
    ++figures_.codes[words.empty() ? 0 : -1000];
    return;
  }
  const auto value =
      static_cast<std::uint32_t>(static_cast<std::uint16_t>(words[0])) << 16 | static_cast<std::uint16_t>(words[1]);
  ++figures_.values;
  const auto verdict = truth_.judge(point, value, asked_, answered_);
  figures_.oldest = std::max(figures_.oldest, verdict.age);
  if (verdict.wrong.empty()) return;
  if (figures_.wrong++ == 0) {
    figures_.firstWrong = std::string(options_.kind.name) + " point " + std::to_string(point) + ": " + verdict.wrong;
  }
}

}  // namespace reliability

#include "helper/source/bacnet_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <tuple>
#include <utility>

#include "bacnet/network/network.h"
#include "helper/source/bacnet_connection.h"

namespace helper {

namespace {

// Whether both links reach the same device in the same way.
bool isSameRoad(const plant::Link& a, const plant::Link& b) {
  const auto road = [](const plant::Link& link) {
    return std::tie(link.linkId, link.ip, link.desPort, link.srcPort, link.deviceId, link.enableReadPropm,
                    link.enableWritePropm, link.enableSCOV, link.mode, link.network, link.macLen, link.virtualMac);
  };
  return road(a) == road(b);
}

}  // namespace

CBacnetSource::CBacnetSource(io::CTimers& timers, OpenSockets openSockets, Log log)
    : timers_(timers), openSockets_(std::move(openSockets)), log_(std::move(log)) {}

CBacnetSource::~CBacnetSource() = default;

Outcome CBacnetSource::load(const std::shared_ptr<const plant::Link>& link, const std::string& directory) {
  HelperOptions options;
  std::string error;
  if (!binding::readHelperOptions(directory, options, error)) return {ResultCode::kProjectRefused, error};

  auto project = std::make_shared<CBoundProject>(link, options);
  const std::vector<std::string> releases = project->releases();
  if (!project_ || project_->releases() != releases) {  // a host hands the same project over each time it starts
    for (const std::string& name : releases) log_("a write to " + name + " releases its priority");
  }
  const std::set<bacnet::ObjectId> objects = project->valueObjects();
  const bool staysConnected = connection_ && isSameRoad(project_->link(), *link) && options == options_ &&
                              std::includes(objects.begin(), objects.end(), subscribed_.begin(), subscribed_.end());

  project_ = std::move(project);
  options_ = options;
  settings_ = binding::readLinkSettings(*link, settingsError_);
  if (settings_ && !settings_->remark.empty()) log_(settings_->remark);
  if (!connection_) return {};
  if (staysConnected) {
    subscribe();
    return {};
  }
  connection_.reset();
  const Outcome outcome = settings_ ? open() : Outcome{ResultCode::kConfiguration, settingsError_};
  if (outcome.code != ResultCode::kDone) log_("not connected any more: " + outcome.note);
  return {};  // the project is taken all the same; its points answer that they are not connected
}

void CBacnetSource::connect(io::TimePoint /*deadline*/, Done<Outcome> done) {
  if (!settings_) {
    done({ResultCode::kConfiguration, settingsError_});
    return;
  }
  if (!connection_) {
    done(open());
    return;
  }
  connection_->client.start();
  done({});
}

// A host connects again and again: what was said of the sockets of the last time is not said again of the next.
CBacnetSource::Log CBacnetSource::newRemarks() {
  const auto before = std::exchange(remarks_, std::make_shared<std::set<std::string>>());
  return [log = log_, before, now = remarks_](const std::string& line) {
    if (now->insert(line).second && before->count(line) == 0) log(line);
  };
}

Outcome CBacnetSource::open() {
  try {
    connection_ = std::make_unique<Connection>(openSockets_(*settings_, options_, newRemarks()), timers_, *settings_,
                                               options_.hasOwnPort, log_);
  } catch (const std::system_error& failure) {
    return {ResultCode::kLocalNetwork, failure.what()};
  }
  subscribed_.clear();
  subscribe();
  connection_->client.start();
  return {};
}

void CBacnetSource::subscribe() {
  if (settings_->changes == LinkSettings::Changes::kPoll) return;
  const bool isConfirmed = settings_->changes == LinkSettings::Changes::kConfirmed;
  for (const bacnet::ObjectId& object : project_->valueObjects()) {
    if (subscribed_.insert(object).second) connection_->client.subscribe(object, isConfirmed);
  }
}

}  // namespace helper

#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bacnet/client/device_client.h"
#include "binding/helper_options.h"
#include "binding/link_settings.h"
#include "helper/source/bound_project.h"
#include "helper/source/point_source.h"
#include "io/datagrams.h"
#include "io/timers.h"

namespace helper {

using binding::HelperOptions;
using binding::LinkSettings;

/// Points that a BACnet/IP device has. Says in the log what changes: the device found, silent, back or moved, a
/// subscription refused, a point's new failure; never a line a request.
class CBacnetSource : public CPointSource {
 public:
  using Log = std::function<void(const std::string& line)>;
  /// Opens a link's sockets; throws std::system_error when the port or the network cannot be had. `remark` takes a line
  /// of what is not as it should be, then and later.
  using OpenSockets = std::function<std::unique_ptr<io::CDatagrams>(const LinkSettings& settings,
                                                                    const HelperOptions& options, const Log& remark)>;

  /// `timers` outlives the source.
  CBacnetSource(io::CTimers& timers, OpenSockets openSockets, Log log);
  ~CBacnetSource() override;

  Outcome load(const std::shared_ptr<const plant::Link>& link, const std::string& directory) override;
  void connect(io::TimePoint deadline, Done<Outcome> done) override;
  void read(std::vector<PointRead> points, io::TimePoint deadline, Done<std::vector<Reading>> done) override;
  void write(std::vector<PointWrite> points, io::TimePoint deadline, Done<std::vector<Outcome>> done) override;
  bool strictBatches() const override { return options_.isBatchStrict; }

 private:
  struct Connection;  // the sockets and the client on them
  struct Call;        // a read under way
  struct Writing;     // a write under way

  Outcome open();
  Log newRemarks();
  void subscribe();
  void addExpected(Call& call, std::vector<bacnet::ReadItem>& items);
  void ask(const std::shared_ptr<Call>& call, std::vector<bacnet::ReadItem> items, io::TimePoint deadline);
  void take(Call& call, std::size_t at, const bacnet::ReadOutcome& outcome);
  void take(Call& call, std::size_t at, const bacnet::Values& values);
  void finish(Call& call);
  void readCurrent(std::shared_ptr<Writing> writing);
  void sendWrites(std::shared_ptr<Writing> writing);
  void note(const char* access, const plant::Point& point, ResultCode& last, ResultCode code, const std::string& words);

  io::CTimers& timers_;
  OpenSockets openSockets_;
  Log log_;
  HelperOptions options_;
  std::optional<LinkSettings> settings_;  // nothing where the link's parameters cannot be used
  std::string settingsError_;
  std::shared_ptr<CBoundProject> project_;
  std::set<bacnet::ObjectId> subscribed_;
  std::unique_ptr<Connection> connection_;
  std::shared_ptr<std::set<std::string>> remarks_ = std::make_shared<std::set<std::string>>();  // of the sockets so far
};

}  // namespace helper

#include "host/tool/page/monitor.h"

#include <algorithm>

#include "host/tool/console/interrupt.h"
#include "host/tool/console/quiet_thread.h"
#include "host/tool/failure.h"
#include "host/tool/network/point_facts.h"

namespace tool {

namespace {

constexpr std::chrono::minutes kFactsAgain{1};  // where the device has not told

}  // namespace

CMonitor::CMonitor(const Options& options, const std::vector<plant::Link>& links, std::chrono::milliseconds interval,
                   const std::string& serverId)
    : serverId_(serverId), networkInterface_(options.broadcastInterface()), feed_(serverId) {
  std::size_t count = 0;
  for (const plant::Link& link : links) count += link.points.size();
  const std::size_t samples = samplesPerPoint(count);
  std::size_t firstId = 0;
  for (const plant::Link& link : links) {
    boards_.push_back(std::make_unique<CBoard>(link, firstId, samples));
    firstId += link.points.size();
    Options own = options;
    own.link = link.linkId;
    pollers_.push_back(std::make_unique<CPoller>(own, interval, *boards_.back(), feed_, [this] { publishLinks(); }));
  }
}

CMonitor::~CMonitor() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  stopped_.notify_all();
  if (facts_.joinable()) facts_.join();
  pollers_.clear();
}

void CMonitor::start() {
  for (const auto& poller : pollers_) poller->start();
  facts_ = startWithoutSignals([this] { readFacts(); });
}

bool CMonitor::isStopping() const {
  const std::lock_guard lock(mutex_);
  return isStopping_ || isInterrupted();
}

void CMonitor::readFacts() {
  std::vector<CBoard*> open;
  for (const auto& board : boards_) open.push_back(board.get());
  while (!open.empty() && !isStopping()) {
    const auto told = std::partition(open.begin(), open.end(), [&](CBoard* board) { return !readFactsOf(*board); });
    if (told != open.end()) publishHello();
    open.erase(told, open.end());
    std::unique_lock lock(mutex_);
    stopped_.wait_for(lock, kFactsAgain, [&] { return isStopping_; });
  }
}

// Result: whether the device has told. Why it has not is the doctor's to find out.
bool CMonitor::readFactsOf(CBoard& board) const {
  try {
    std::string problem;
    auto facts = readPointFacts(board.link(), board.link().points, networkInterface_,
                                {std::chrono::seconds(30), [this] { return isStopping(); }}, problem);
    if (!problem.empty() || isStopping()) return false;
    board.setFacts(std::move(facts));
    return true;
  } catch (const CFailure&) {
    return false;
  }
}

std::optional<CMonitor::Place> CMonitor::find(std::size_t id) {
  for (std::size_t each = 0; each < boards_.size(); ++each) {
    CBoard& board = *boards_[each];
    if (id >= board.firstId() && id - board.firstId() < board.size())
      return Place{board, *pollers_[each], id - board.firstId()};
  }
  return std::nullopt;
}

}  // namespace tool

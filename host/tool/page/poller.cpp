#include "host/tool/page/poller.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/console/quiet_thread.h"
#include "host/tool/failure.h"
#include "host/tool/link/project.h"
#include "host/tool/link/results.h"
#include "host/tool/page/encoding.h"
#include "plant/value.h"

namespace tool {

using std::chrono::steady_clock;

namespace {

constexpr std::chrono::seconds kWritePatience{10};  // of a write, for its turn
constexpr std::chrono::seconds kPause{2};           // before a link that is lost is tried again
constexpr std::size_t kMostJobs = 8;

std::string wordsOfWrite(const Access& access) {
  if (access.code == kDone) return "";
  if (!access.code) return "the helper answered with text that is no number that fits";
  if (access.code != kNoAnswer) return textOf(*access.code).meaning;
  return access.isSent ? "sent, but no answer came: whether it was written is unknown" : "not sent: no helper answers";
}

}  // namespace

// A write that waits for its turn. Its caller takes it back when that does not come in time.
struct CPoller::Job {
  std::size_t place = 0;
  plant::Words words;
  bool isTaken = false;  // guarded by the poller's mutex, as the rest
  bool isDone = false;
  WriteAnswer answer;
  std::optional<CFailure> failure;
};

CPoller::CPoller(Options options, std::chrono::milliseconds interval, CBoard& board, CFeed& feed,
                 std::function<void()> onLink)
    : options_(std::move(options)),
      interval_(interval),
      board_(board),
      feed_(feed),
      onLink_(std::move(onLink)),
      session_(std::make_unique<CSession>(options_)) {}

CPoller::~CPoller() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }
  wanted_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void CPoller::start() {
  thread_ = startWithoutSignals([this] { run(); });
}

bool CPoller::isStopping() const {
  const std::lock_guard lock(mutex_);
  return isStopping_ || isInterrupted();
}

void CPoller::run() {
  while (!isStopping()) {
    const auto begin = steady_clock::now();
    work();
    const bool isLost = board_.linkState().kind == LinkState::kLost;
    const auto next = begin + (isLost ? std::max<steady_clock::duration>(interval_, kPause) : interval_);
    while (waitUntil(next)) serveJobs();
  }
}

// Result: whether there are jobs; otherwise a round is due, or the end.
bool CPoller::waitUntil(steady_clock::time_point time) {
  std::unique_lock lock(mutex_);
  wanted_.wait_until(lock, time, [&] { return isStopping_ || isRefreshed_ || !jobs_.empty(); });
  isRefreshed_ = false;
  return !isStopping_ && !jobs_.empty();
}

void CPoller::work() {
  try {
    round();
  } catch (const CFailure& failure) {
    if (isInterrupted()) return;
    if (!accesses_.empty()) show(resultsOf(accesses_, readResult), 0);
    tell(LinkState::kLost, &failure);
    if (failure.status() == ExitStatus::kPlugin || failure.status() == ExitStatus::kProject) session_.reset();
  } catch (const std::exception& error) {
    const CFailure failure(ExitStatus::kInternal, fmt::format("internal error: {}", error.what()), "please report it");
    tell(LinkState::kLost, &failure);
  }
}

void CPoller::round() {
  if (!batcher_ || !session_) open();
  batcher_->read(accesses_);
  if (isInterrupted()) return;
  const auto results = resultsOf(accesses_, readResult);
  const bool isSilent =
      std::all_of(results.begin(), results.end(), [](const Result& result) { return result.access.code == kNoAnswer; });
  show(results, 0);
  if (!isSilent || results.empty()) return tell(LinkState::kConnected, nullptr);
  const CFailure failure(ExitStatus::kUnreachable, textOf(kNoAnswer).meaning, textOf(kNoAnswer).remedy);
  tell(LinkState::kLost, &failure);
}

void CPoller::open() {
  accesses_.clear();
  batcher_.reset();
  if (!session_) session_ = std::make_unique<CSession>(options_);
  session_->reconnect();
  std::vector<Access> accesses;
  accesses.reserve(board_.size());
  for (const plant::Point& point : board_.link().points) accesses.push_back({point, session_->prepare(point), {}});
  accesses_ = std::move(accesses);
  batcher_.emplace(*session_, statistics_);
}

void CPoller::show(const std::vector<Result>& results, std::size_t first) {
  const std::int64_t time = nowMs();
  const auto changed = board_.take(results, first, time);
  if (!changed.empty()) feed_.publish("values", valuesJson(board_, changed, time));
}

void CPoller::tell(LinkState::Kind kind, const CFailure* failure) {
  const std::string words = failure == nullptr ? "" : failure->what();
  if (!board_.setState(kind, failure == nullptr ? kDone : kNoAnswer, words)) return;
  if (failure != nullptr) complain(fmt::format("link {}: {}", options_.link, words));
  onLink_();
}

WriteAnswer CPoller::write(std::size_t place, const std::string& text) {
  const plant::Point& point = board_.link().points[place];
  const std::int32_t bytes = registerBytes(point, options_);
  plant::Value value;
  std::string error;
  if (!plant::parseValue(point, text, bytes, value, error))
    throw CFailure(ExitStatus::kUsage, error, "write a value that fits its type");
  const auto job = std::make_shared<Job>();
  job->place = place;
  plant::toWords(point, value, bytes, job->words);

  std::unique_lock lock(mutex_);
  const CFailure isBusy(ExitStatus::kUnreachable, "not written: the link is busy, or its helper does not answer",
                        "try again");
  if (isStopping_ || jobs_.size() >= kMostJobs) throw CFailure(isBusy);
  jobs_.push_back(job);
  wanted_.notify_all();
  wanted_.wait_for(lock, kWritePatience, [&] { return job->isTaken || isStopping_; });
  if (!job->isTaken) {
    jobs_.erase(std::remove(jobs_.begin(), jobs_.end(), job), jobs_.end());
    throw CFailure(isBusy);
  }
  wanted_.wait(lock, [&] { return job->isDone; });
  if (job->failure) throw CFailure(*job->failure);
  return job->answer;
}

void CPoller::refresh() {
  {
    const std::lock_guard lock(mutex_);
    isRefreshed_ = true;
  }
  wanted_.notify_all();
}

void CPoller::serveJobs() {
  for (;;) {
    std::shared_ptr<Job> job;
    {
      const std::lock_guard lock(mutex_);
      if (jobs_.empty()) return;
      job = jobs_.front();
      jobs_.pop_front();
      job->isTaken = true;
    }
    wanted_.notify_all();
    WriteAnswer answer;
    auto failure = failureOf([&] { answer = writeNow(job->place, job->words); });
    {
      const std::lock_guard lock(mutex_);
      job->answer = std::move(answer);
      job->failure = std::move(failure);
      job->isDone = true;
    }
    wanted_.notify_all();
  }
}

WriteAnswer CPoller::writeNow(std::size_t place, const plant::Words& words) {
  if (accesses_.empty() || board_.linkState().kind == LinkState::kLost)
    throw CFailure(ExitStatus::kUnreachable, "not written: the link is lost", "'hmi-host doctor' examines each step");
  WriteAnswer answer;
  std::vector<Access> one = {accesses_[place]};
  one[0].words = words;
  batcher_->write(one);
  answer.code = one[0].code.value_or(kNoAnswer);
  answer.words = wordsOfWrite(one[0]);
  if (const auto lost = failureOf([&] { batcher_->read(one); }); !lost) show(resultsOf(one, readResult), place);
  return answer;
}

}  // namespace tool

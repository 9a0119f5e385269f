#include "helper/request/request_service.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"

namespace helper {

namespace {

constexpr std::size_t kLongestLoggedName = 64;

template <typename Result>
const Result* firstFailed(const std::vector<Result>& results) {
  const auto failed =
      std::find_if(results.begin(), results.end(), [](const Result& each) { return each.code != ResultCode::kDone; });
  return failed == results.end() ? nullptr : &*failed;
}

}  // namespace

std::string traceLine(const CReplySlot& slot, const std::string& function, std::size_t points,
                      const std::string& code) {
  return fmt::format("id={} {} points={} code={}{}{}", slot.identifier(), function.substr(0, kLongestLoggedName),
                     points, code, slot.remark().empty() ? "" : " ", slot.remark());
}

// A request on its way: its slot, and the link that its points belong to. Dropped by a source it leaves the answer to
// the slot.
class CRequestService::CPendingReply {
 public:
  CPendingReply(CReplySlot slot, const Request& request, std::shared_ptr<const plant::Link> link, CHelperLog& log)
      : slot_(std::move(slot)),
        function_(request.function),
        points_(request.points.size()),
        link_(std::move(link)),
        log_(log) {}

  const std::string& function() const { return function_; }

  void finish(const Outcome& outcome, std::vector<std::string> values = {}) {
    ResultCode code = outcome.code;
    std::string frame = pack(function_, code, std::move(values));
    if (frame.empty() || frame.size() > cbl::frame::kLongestReply) {
      if (code == ResultCode::kDone) code = ResultCode::kReplyTooLong;
      frame = pack("", code, {});
    }
    if (log_.traces()) {
      log_.write("{}{}{}", traceLine(slot_, function_, points_, std::to_string(static_cast<std::int32_t>(code))),
                 outcome.note.empty() ? "" : " ", outcome.note);
    }
    slot_.answer(std::move(frame));
  }
  void finish(ResultCode code) { finish(Outcome{code, {}}); }

 private:
  std::string pack(std::string function, ResultCode code, std::vector<std::string> values) const {
    cbl::CVelixMessage reply;
    reply.setType(slot_.type());
    reply.reserve(2 + values.size());
    reply.push_back(std::move(function));
    reply.push_back(std::to_string(static_cast<std::int32_t>(code)));
    std::move(values.begin(), values.end(), std::back_inserter(reply));
    return packReply(reply, slot_.identifier());
  }

  CReplySlot slot_;
  const std::string function_;
  const std::size_t points_;  // so many were asked for
  const std::shared_ptr<const plant::Link> link_;
  CHelperLog& log_;
};

CRequestService::CRequestService(CPointSource& source, const io::CTimers& timers, CHelperLog& log)
    : source_(source), timers_(timers), log_(log) {}

void CRequestService::onFrame(const cbl::BusFrameInfo& frame, CReplySlot slot) {
  if (frame.type > cbl::frame::kLastMessageType) {
    log_.write("frame of type {} ignored", frame.type);
    return slot.answer(Delivery());
  }
  cbl::CVelixMessage message;
  Request request;
  const ResultCode understood =
      message.load(frame.body) < 0 ? ResultCode::kMalformedRequest : readRequest(message, request);
  const auto pending = std::make_shared<CPendingReply>(std::move(slot), request, points_.link(), log_);
  if (understood == ResultCode::kDone) {
    perform(request, pending);
  } else {
    pending->finish(understood);
  }
}

void CRequestService::perform(const Request& request, const Pending& pending) {
  switch (request.operation) {
    case Request::kNone:
      return pending->finish(ResultCode::kUnknownFunction);
    case Request::kLoadProject: {
      const Outcome outcome = load(request);
      note(request.function, outcome);
      return pending->finish(outcome);
    }
    case Request::kConnect:
      return connect(pending);
    case Request::kRead:
      return read(request, pending);
    case Request::kWrite:
      return write(request, pending);
  }
}

Outcome CRequestService::load(const Request& request) {
  Outcome outcome;
  const auto link = std::make_shared<plant::Link>();
  if (plant::readProject(request.path, request.link, *link, outcome.note) != 0) {
    outcome.code = ResultCode::kProjectRefused;
    return outcome;
  }
  CPointTable points(link);
  outcome = source_.load(link, std::filesystem::path(request.path).parent_path().string());
  if (outcome.code == ResultCode::kDone) points_ = std::move(points);
  return outcome;
}

void CRequestService::connect(const Pending& pending) {
  isConnected_ = false;
  if (!points_.link()) return pending->finish(ResultCode::kNoProject);
  source_.connect(deadline(), [this, pending](const Outcome& outcome) {
    isConnected_ = outcome.code == ResultCode::kDone;
    note(pending->function(), outcome);
    pending->finish(outcome);
  });
}

ResultCode CRequestService::checkConnected() const {
  if (!points_.link()) return ResultCode::kNoProject;
  return isConnected_ ? ResultCode::kDone : ResultCode::kNotConnected;
}

void CRequestService::read(const Request& request, const Pending& pending) {
  std::vector<PointRead> reads;
  Outcome refused{checkConnected(), {}};
  if (refused.code == ResultCode::kDone) refused.code = points_.resolve(request.points, reads, refused.note);
  if (refused.code != ResultCode::kDone || reads.empty()) return pending->finish(refused);

  auto asked = reads;
  source_.read(std::move(asked), deadline(),
               [this, pending, reads = std::move(reads)](const std::vector<Reading>& readings) {
                 finishRead(pending, reads, readings);
               });
}

void CRequestService::finishRead(const Pending& pending, const std::vector<PointRead>& reads,
                                 const std::vector<Reading>& readings) {
  const Reading* const failed = firstFailed(readings);
  const bool hasValue =
      std::any_of(readings.begin(), readings.end(), [](const Reading& each) { return each.code == ResultCode::kDone; });
  if (failed != nullptr && (!hasValue || source_.strictBatches())) return pending->finish(failed->code);

  std::vector<std::string> values(readings.size());  // that of a failed point stays empty
  for (std::size_t i = 0; i < readings.size(); ++i) {
    if (readings[i].code == ResultCode::kDone) values[i] = wordsText(reads[i], readings[i].value);
  }
  pending->finish(Outcome(), std::move(values));
}

void CRequestService::write(const Request& request, const Pending& pending) {
  std::vector<PointWrite> writes;
  Outcome refused{checkConnected(), {}};
  if (refused.code == ResultCode::kDone) refused.code = points_.resolve(request.points, writes, refused.note);
  if (refused.code != ResultCode::kDone || writes.empty()) return pending->finish(refused);

  source_.write(std::move(writes), deadline(), [pending](const std::vector<Outcome>& outcomes) {
    const Outcome* const failed = firstFailed(outcomes);
    pending->finish(failed == nullptr ? Outcome() : *failed);
  });
}

// A host tries again and again: the same refusal is logged once.
void CRequestService::note(const std::string& function, const Outcome& outcome) {
  std::string refusal;
  if (outcome.code != ResultCode::kDone) {
    refusal = fmt::format("{} answered {}: {}", function, static_cast<std::int32_t>(outcome.code), outcome.note);
    if (refusal != lastRefusal_) log_.write("{}", refusal);
  }
  lastRefusal_.swap(refusal);
}

}  // namespace helper

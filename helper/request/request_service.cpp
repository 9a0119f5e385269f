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

// A request on its way: what it asks for, its slot, and the link that its points belong to. Dropped by a source it
// leaves the answer to the slot. The reply is written into the message that the request came as.
class CRequestService::CPendingReply {
 public:
  CPendingReply(CReplySlot slot, std::shared_ptr<const plant::Link> link, CHelperLog& log)
      : slot_(std::move(slot)), link_(std::move(link)), log_(log) {
    message_.setType(slot_.type());
  }

  ResultCode understand(const std::string& body) {
    return message_.load(body) < 0 ? ResultCode::kMalformedRequest : readRequest(message_, request_);
  }

  const Request& request() const { return request_; }
  /// The request's points, once they have been found.
  std::vector<PointRead>& reads() { return reads_; }

  void finish(const Outcome& outcome) {
    begin(request_.function, outcome.code);
    send(outcome);
  }
  void finish(ResultCode code) { finish(Outcome{code, {}}); }

  /// That of a failed point stays empty.
  void finishWithValues(const std::vector<Reading>& readings) {
    begin(request_.function, ResultCode::kDone);
    plant::Words words;
    for (std::size_t i = 0; i < readings.size(); ++i) {
      const bool isRead = readings[i].code == ResultCode::kDone;
      message_.push_back(isRead ? wordsText(reads_[i], readings[i].value, words) : std::string());
    }
    send({});
  }

 private:
  void begin(const std::string& function, ResultCode code) {
    message_.clear();
    message_.reserve(2 + reads_.size());
    message_.push_back(function);
    message_.push_back(std::to_string(static_cast<std::int32_t>(code)));
  }

  void send(const Outcome& outcome) {
    ResultCode code = outcome.code;
    std::string frame = packReply(message_, slot_.identifier());
    if (frame.empty() || frame.size() > cbl::frame::kLongestReply) {
      if (code == ResultCode::kDone) code = ResultCode::kReplyTooLong;
      begin("", code);
      frame = packReply(message_, slot_.identifier());
    }
    if (log_.traces()) {
      log_.write(
          "{}{}{}",
          traceLine(slot_, request_.function, request_.points.size(), std::to_string(static_cast<std::int32_t>(code))),
          outcome.note.empty() ? "" : " ", outcome.note);
    }
    slot_.answer(std::move(frame));
  }

  CReplySlot slot_;
  cbl::CVelixMessage message_;
  Request request_;
  std::vector<PointRead> reads_;
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
  auto pending = std::make_shared<CPendingReply>(std::move(slot), points_.link(), log_);
  const ResultCode understood = pending->understand(frame.body);
  if (understood == ResultCode::kDone) {
    perform(std::move(pending));
  } else {
    pending->finish(understood);
  }
}

void CRequestService::perform(Pending pending) {
  switch (pending->request().operation) {
    case Request::kNone:
      return pending->finish(ResultCode::kUnknownFunction);
    case Request::kLoadProject: {
      const Outcome outcome = load(pending->request());
      note(pending->request().function, outcome);
      return pending->finish(outcome);
    }
    case Request::kConnect:
      return connect(std::move(pending));
    case Request::kRead:
      return read(std::move(pending));
    case Request::kWrite:
      return write(std::move(pending));
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

void CRequestService::connect(Pending pending) {
  isConnected_ = false;
  if (!points_.link()) return pending->finish(ResultCode::kNoProject);
  source_.connect(deadline(), [this, pending = std::move(pending)](const Outcome& outcome) {
    isConnected_ = outcome.code == ResultCode::kDone;
    note(pending->request().function, outcome);
    pending->finish(outcome);
  });
}

ResultCode CRequestService::checkConnected() const {
  if (!points_.link()) return ResultCode::kNoProject;
  return isConnected_ ? ResultCode::kDone : ResultCode::kNotConnected;
}

void CRequestService::read(Pending pending) {
  std::vector<PointRead>& reads = pending->reads();
  Outcome refused{checkConnected(), {}};
  if (refused.code == ResultCode::kDone) refused.code = points_.resolve(pending->request().points, reads, refused.note);
  if (refused.code != ResultCode::kDone || reads.empty()) return pending->finish(refused);

  source_.read(reads, deadline(), [this, pending = std::move(pending)](const std::vector<Reading>& readings) {
    finishRead(pending, readings);
  });
}

void CRequestService::finishRead(const Pending& pending, const std::vector<Reading>& readings) {
  const Reading* const failed = firstFailed(readings);
  const bool hasValue =
      std::any_of(readings.begin(), readings.end(), [](const Reading& each) { return each.code == ResultCode::kDone; });
  if (failed != nullptr && (!hasValue || source_.strictBatches())) return pending->finish(failed->code);
  pending->finishWithValues(readings);
}

void CRequestService::write(Pending pending) {
  std::vector<PointWrite> writes;
  Outcome refused{checkConnected(), {}};
  if (refused.code == ResultCode::kDone)
    refused.code = points_.resolve(pending->request().points, writes, refused.note);
  if (refused.code != ResultCode::kDone || writes.empty()) return pending->finish(refused);

  source_.write(std::move(writes), deadline(), [pending = std::move(pending)](const std::vector<Outcome>& outcomes) {
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

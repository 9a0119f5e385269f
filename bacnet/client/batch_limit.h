#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include "bacnet/client/request.h"

namespace bacnet {

struct ReadItem;

/// Octets of one item in a ReadPropertyMultiple request, and in its answer if the value is as long as expected.
std::size_t requestOctets(const ReadItem& item);
std::size_t answerOctets(const ReadItem& item);

/// What to do after a batch of several items has been answered.
enum class BatchRemedy {
  kNone,     ///< the answer stands for all of them
  kSplit,    ///< one item spoilt it: smaller ones, this time
  kSmaller,  ///< smaller ones from now on
  kNever,    ///< the device does not know the service
};
BatchRemedy remedyFor(ConfirmedService service, const Answer& answer);

/// How many items a device takes in one request, as it has turned out.
class CBatchLimit {
 public:
  explicit CBatchLimit(bool isAllowed) : isAllowed_(isAllowed), most_(isAllowed ? kNoLimit : 1) {}

  std::size_t most() const { return most_; }
  bool isKnown() const { return most_ != kNoLimit; }

  void refuse();                   ///< the service is not known
  void refuse(std::size_t items);  ///< so many were too many

  /// A batch of `items` has been answered.
  void prove(std::size_t items) { proven_ = std::max(proven_, items); }
  /// A batch of `items` has had no answer; `judge` says afterwards whether the device was there all the time. Where as
  /// many have been answered before, only the second one without an answer counts: the line may have lost the first.
  void suspect(std::size_t items) { suspected_ = items; }
  void judge(bool wasThere);
  /// A service that it did not know it may know by now; how much it takes at once stays.
  void forgetRefusal();
  /// How much it takes is to be found out anew: what it did not take was one item's fault.
  void forgetSize();

 private:
  static constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

  bool isAllowed_;
  std::size_t most_;
  std::optional<std::size_t> mostBefore_;  // it refused the service
  std::size_t proven_ = 0;
  std::size_t suspected_ = 0;
};

}  // namespace bacnet

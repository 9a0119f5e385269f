#include "host/tool/live/property_answers.h"

#include <fmt/format.h>

#include <vector>

#include "host/tool/console/error_relay.h"

namespace tool {

namespace {

constexpr std::size_t kAtATime = 100;  // properties between two signs of life

bool isAnswer(const bacnet::ReadOutcome& outcome) {
  const auto* failure = std::get_if<bacnet::Failure>(&outcome);
  return failure == nullptr ||
         (failure->kind != bacnet::Failure::Kind::kSilent && failure->kind != bacnet::Failure::Kind::kNotFound);
}

}  // namespace

void CPropertyAnswers::want(const bacnet::ObjectId& object, const bacnet::PropertyReference& reference,
                            std::size_t octets) {
  const Place place{object, reference};
  if (answers_.count(place) == 0) wanted_.emplace(place, octets);
}

bool CPropertyAnswers::fetch(CDevice& device, const std::string& what) {
  const std::size_t all = wanted_.size();
  while (!wanted_.empty()) {
    std::vector<bacnet::ReadItem> items;
    for (auto each = wanted_.begin(); each != wanted_.end() && items.size() < kAtATime; ++each)
      items.push_back({{each->first.first, each->first.second}, each->second});
    auto outcomes = device.read(items);
    std::size_t answered = 0;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (!isAnswer(outcomes[i])) continue;  // a slow device's turn comes again
      const auto& [object, reference] = items[i].address;
      put(object, reference, std::move(outcomes[i]));
      answered += wanted_.erase({object, reference});
    }
    if (answered == 0 || device.isStopped() || device.profile().isSilent) break;
    sayProgress(fmt::format("{}: {} of {} properties read", what, all - wanted_.size(), all));
  }
  sayProgress("");
  const bool isWhole = wanted_.empty();
  wanted_.clear();
  return isWhole;
}

const bacnet::ReadOutcome* CPropertyAnswers::find(const bacnet::ObjectId& object,
                                                  const bacnet::PropertyReference& reference) const {
  const auto found = answers_.find({object, reference});
  return found == answers_.end() ? nullptr : &found->second;
}

const bacnet::Values* CPropertyAnswers::values(const bacnet::ObjectId& object,
                                               const bacnet::PropertyReference& reference) const {
  const auto* outcome = find(object, reference);
  return outcome ? std::get_if<bacnet::Values>(outcome) : nullptr;
}

}  // namespace tool

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "host/tool/network/device.h"

namespace tool {

/// Properties of one device, each read once, whoever wants it.
class CPropertyAnswers {
 public:
  /// Asks for it with the next `fetch`, unless it has been answered. `octets` of the value as it travels, about.
  void want(const bacnet::ObjectId& object, const bacnet::PropertyReference& reference, std::size_t octets = 8);

  /// Reads what is wanted, many properties a request where the device takes that; `what` stands before the progress.
  /// Result: false when Ctrl-C or a device that has fallen silent left some of it unread.
  bool fetch(CDevice& device, const std::string& what);

  /// nullptr: not asked, or not answered any more.
  const bacnet::ReadOutcome* find(const bacnet::ObjectId& object, const bacnet::PropertyReference& reference) const;
  /// nullptr also where the device has answered an error.
  const bacnet::Values* values(const bacnet::ObjectId& object, const bacnet::PropertyReference& reference) const;

  void put(const bacnet::ObjectId& object, const bacnet::PropertyReference& reference, bacnet::ReadOutcome outcome) {
    answers_[{object, reference}] = std::move(outcome);
  }

 private:
  using Place = std::pair<bacnet::ObjectId, bacnet::PropertyReference>;

  std::map<Place, std::size_t> wanted_;  // by object, as a request has them
  std::map<Place, bacnet::ReadOutcome> answers_;
};

}  // namespace tool

#include "cbl/log/log_line.h"
#include "driver/bacnet_link.h"

namespace driver {

namespace {

constexpr std::int32_t kNoAnswer = -99;

}  // namespace

std::int32_t CBACnetLink::sendProjectConfig() {
  const std::string path = configPath + kProjectFileName;
  cbl::logLine(cbl::kLogicTag, "Sending XML config to server: %s", path.c_str());

  cbl::CVelixMessage request;
  request.push_back("func@bac_load_xml");
  request.push_back(path);
  request.push_back(std::to_string(linkId));
  cbl::CVelixMessage reply;
  if (!client.call(request, reply) || reply.size() <= kReplyCodeAt) return kNoAnswer;
  return std::stoi(reply[kReplyCodeAt]);
}

std::int32_t CBACnetLink::connectLink() {
  cbl::CVelixMessage request;
  request.push_back("func@bac_connect");
  cbl::CVelixMessage reply;
  if (!client.call(request, reply)) {
    if (!ensureServer()) return -1;
    if (sendProjectConfig() != 0) return -1;
    if (!client.call(request, reply)) return -1;
  }
  if (reply.size() <= kReplyCodeAt) return -1;

  const std::int32_t code = std::stoi(reply[kReplyCodeAt]);
  connected = code == 0;
  return code;
}

}  // namespace driver

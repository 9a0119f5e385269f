#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cbl/bus/frame_layout.h"
#include "cbl/bus/velix_message.h"
#include "fuzz/check.h"
#include "helper/request/request_service.h"
#include "io/fake/fake_clock.h"
#include "simulator/simulated_points.h"

namespace {

// The helper behind its socket, with a project of one point of each type.
struct Helper : helper::CReplyTarget {
  Helper() {
    std::string symbols;
    int regId = 0;
    for (const char* type : {"BOOL", "UDINT", "UINT", "REAL", "DOUBLE", "STRING", "other"}) {
      symbols += "<Symbol><Name>P</Name><RegId>" + std::to_string(++regId) + "</RegId><DataType>" + type +
                 "</DataType></Symbol>";
    }
    const std::string project = "<ProjectInfo><Symbols LinkID=\"1\">" + symbols + "</Symbols></ProjectInfo>";
    std::FILE* const file = std::tmpfile();
    FUZZ_CHECK(file != nullptr && std::fwrite(project.data(), project.size(), 1, file) == 1 && std::fflush(file) == 0);
    const std::string path = "/proc/self/fd/" + std::to_string(fileno(file));
    FUZZ_CHECK(ask({"func@bac_load_xml", path, "1"}) == "0" && ask({"func@bac_connect"}) == "0");
    std::fclose(file);
  }

  void take(std::uint64_t, helper::Delivery delivery) override {
    FUZZ_CHECK(delivery.size() == 1 && reply.empty());
    reply = delivery[0].bytes;
  }

  std::string ask(const std::initializer_list<std::string>& elements) {
    cbl::CVelixMessage message;
    message.assign(elements);
    cbl::BusFrameInfo frame;
    message.dump(frame.body);
    return ask(frame).at(1);
  }
  std::vector<std::string> ask(const cbl::BusFrameInfo& frame) {
    reply.clear();
    service.onFrame(frame, helper::CReplySlot(std::shared_ptr<CReplyTarget>(this, [](CReplyTarget*) {}), 0, frame));
    FUZZ_CHECK(!reply.empty() && reply.size() <= cbl::frame::kLongestReply);
    cbl::BusFrameInfo info;
    cbl::CVelixMessage message;
    FUZZ_CHECK(cbl::CBusProtocol().unpack(reply.data(), static_cast<std::int32_t>(reply.size()), info) > 0);
    FUZZ_CHECK(message.load(info.body) > 0 && message.size() >= 2 && info.identifier == frame.identifier);
    return {message.begin(), message.end()};
  }

  io::CFakeClock clock;
  helper::CHelperLog log;
  simulator::CSimulatedPoints points{clock};
  helper::CRequestService service{points, clock, log};
  std::string reply;
};

}  // namespace

// Every body is answered, once, with a code of the table, and with values only where the code is 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Helper helper;
  cbl::BusFrameInfo frame;
  frame.identifier = static_cast<std::uint32_t>(size) * 0x9E3779B9U;
  frame.body.assign(reinterpret_cast<const char*>(data), size);
  if (frame.body.find("func@bac_load_xml") != std::string::npos) return 0;  // reads files
  const std::vector<std::string> reply = helper.ask(frame);
  const int code = std::stoi(reply[1]);
  FUZZ_CHECK((code >= 0 && code <= 8) || code == 28);
  FUZZ_CHECK(code == 0 || reply.size() == 2);
  return 0;
}

#include "host/tool/page/api.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "bacnet/codec/describe.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/examine/examination.h"
#include "host/tool/failure.h"
#include "host/tool/network/commanded_object.h"
#include "host/tool/network/device.h"
#include "host/tool/page/encoding.h"

namespace tool {

namespace {

using std::chrono::steady_clock;

constexpr int kViewers = 32;
constexpr int kWritesAtOnce = 4;
constexpr int kQuestionsAtOnce = 4;
static_assert(kViewers + kWritesAtOnce + kQuestionsAtOnce + 1 < kConnections);

constexpr const char* kJson = "application/json";
constexpr std::chrono::seconds kLook{1};        // how soon a viewer who has left is noticed
constexpr std::chrono::seconds kKeepAlive{15};  // so that the page notices a server that has gone

void setJson(httplib::Response& response, const std::string& json) {
  response.set_content(json, kJson);
}

// Does `work` while it holds a pass of the gate's, or says that there is none.
void through(CGate& gate, httplib::Response& response, const std::function<void(CGate::Pass)>& work) {
  if (auto pass = gate.enter()) return work(std::move(pass));
  setError(response, 503, "too many ask for this at a time; try again");
}

Record bodyOf(const httplib::Request& request) {
  Record body = Record::parse(request.body, nullptr, false);
  if (!body.is_object()) throw CFailure(ExitStatus::kUsage, "the request has no JSON object", "send one");
  return body;
}

std::string textIn(const Record& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number() || value.is_boolean()) return value.dump();
  throw CFailure(ExitStatus::kUsage, "the request has no \"value\"", "send a text, a number or true or false");
}

std::uint8_t priorityIn(const Record& body, const plant::Point& point) {
  if (!body.contains("priority")) return ownPriority(point);
  const Record& priority = body["priority"];
  if (priority.is_number_unsigned() && priority >= 1 && priority <= kPriorities && priority != kReservedPriority)
    return priority.get<std::uint8_t>();
  throw CFailure(ExitStatus::kUsage, "the request's \"priority\" is none", "send 1 to 16, but not 6");
}

Record orNull(std::string_view text) {
  return text.empty() ? Record() : Record(text);
}

Record slotOf(const Commands& commands, const Origins& origins, std::uint8_t priority) {
  const bacnet::Value& value = commands.slots[priority - 1U];
  Record slot;
  slot["priority"] = priority;
  slot["value"] = std::holds_alternative<bacnet::Null>(value) ? Record() : Record(bacnet::describe(value));
  slot["level"] = orNull(levelOf(priority));
  slot["who"] = orNull(origins.at(priority - 1U).source);
  slot["since"] = orNull(origins.at(priority - 1U).time);
  return slot;
}

// One viewer's stream of events.
class CViewer {
 public:
  CViewer(CMonitor& monitor, std::string serverId, CGate::Pass pass)
      : feed_(monitor.feed()), position_(feed_.next()), pass_(std::move(pass)) {
    const std::string id = fmt::format("{}-{}", serverId, position_ - 1);
    greeting_ = encodedEvent(id, "hello", jsonText({{"serverId", serverId}})) +
                encodedEvent(id, "links", linksJson(monitor.boards()));
  }

  // Hands on what has come. Result: whether there may be more.
  bool serve(httplib::DataSink& sink) {
    if (!greeting_.empty()) {
      const std::string greeting = std::exchange(greeting_, "");
      return sink.write(greeting.data(), greeting.size());
    }
    switch (feed_.wait(position_, events_, steady_clock::now() + kLook)) {
      case CFeed::Outcome::kEvents:
        for (const Event& event : events_) {
          if (!send(sink, *event)) return false;
        }
        events_.clear();
        return true;
      case CFeed::Outcome::kTime:
        return sink.is_writable() && (steady_clock::now() - sent_ < kKeepAlive || send(sink, ":\n\n"));
      case CFeed::Outcome::kEnd:
        break;
    }
    return false;
  }

 private:
  bool send(httplib::DataSink& sink, const std::string& text) {
    sent_ = steady_clock::now();
    return sink.write(text.data(), text.size());
  }

  CFeed& feed_;
  std::uint64_t position_;
  std::string greeting_;
  std::vector<Event> events_;
  steady_clock::time_point sent_ = steady_clock::now();
  CGate::Pass pass_;
};

}  // namespace

CPageApi::CPageApi(const Options& options, const ServerFacts& facts, CMonitor& monitor, CDiscovery& discovery)
    : options_(options),
      facts_(facts),
      monitor_(monitor),
      discovery_(discovery),
      viewers_(kViewers),
      writes_(kWritesAtOnce),
      questions_(kQuestionsAtOnce),
      doctors_(1) {}

void CPageApi::addTo(CHttpServer& server) {
  addReads(server);
  addPoints(server);
  addCommands(server);
}

void CPageApi::addReads(CHttpServer& server) {
  server.Get("/api/state", [this](const Request&, Response& response) { showState(response); });
  server.Get("/api/links",
             [this](const Request&, Response& response) { setJson(response, linksJson(monitor_.boards())); });
  server.Get("/api/points", [this](const Request&, Response& response) {
    setJson(response, pointsJson(monitor_.boards(), facts_.takesWrites));
  });
  server.Get("/api/events", [this](const Request&, Response& response) { follow(response); });
  server.Get("/api/doctor", [this](const Request&, Response& response) {
    through(doctors_, response, [&](const CGate::Pass&) { examine(response); });
  });
  server.Get("/api/discover",
             [this](const Request&, Response& response) { setJson(response, jsonText(discovery_.state())); });
}

// `answer` is handed the point that the path's number stands for.
CHttpServer::Handler CPageApi::forPoint(PointAnswer answer) {
  return [this, answer = std::move(answer)](const Request& request, Response& response) {
    const auto at = monitor_.find(std::strtoul(request.matches[1].str().c_str(), nullptr, 10));
    if (at) return answer(*at, request, response);
    setError(response, 404, "there is no such point");
  };
}

void CPageApi::addPoints(CHttpServer& server) {
  server.Get(R"(/api/points/(\d{1,9})/history)", forPoint([](const auto& at, const auto& request, auto& response) {
               const auto samples = at.board.history(at.place);
               if (request.get_param_value("format") != "csv") return setJson(response, historyJson(samples));
               response.set_header("Content-Disposition",
                                   fmt::format("attachment; filename=\"point-{}.csv\"", at.point().regId));
               response.set_content(historyCsv(samples), "text/csv; charset=utf-8");
             }));
  server.Get(R"(/api/points/(\d{1,9})/errors)", forPoint([](const auto& at, const auto&, auto& response) {
               setJson(response, errorsJson(at.board.errors(at.place)));
             }));
  server.Get(R"(/api/points/(\d{1,9})/priorities)", forPoint([this](const auto& at, const auto&, auto& response) {
               through(questions_, response, [&](const CGate::Pass&) { showPriorities(at, response); });
             }));
}

// The guard has let them in.
void CPageApi::addCommands(CHttpServer& server) {
  server.Post(R"(/api/points/(\d{1,9})/write)", forPoint([this](const auto& at, const auto& request, auto& response) {
                through(writes_, response, [&](const CGate::Pass&) { write(at, request, response); });
              }));
  server.Post(R"(/api/points/(\d{1,9})/release)", forPoint([this](const auto& at, const auto& request, auto& response) {
                through(questions_, response, [&](const CGate::Pass&) { release(at, request, response); });
              }));
  server.Post("/api/discover", [this](const Request&, Response& response) {
    discovery_.start();
    setJson(response, jsonText(discovery_.state()));
  });
}

void CPageApi::showState(Response& response) const {
  Record state;
  state["serverId"] = facts_.serverId;
  state["version"] = HOST_VERSION;
  state["project"] = options_.project;
  state["started"] = facts_.started;
  state["pollMs"] = facts_.pollMs;
  state["readOnly"] = facts_.isReadOnly;
  state["writes"] = facts_.takesWrites;
  state["now"] = nowMs();
  setJson(response, jsonText(state));
}

void CPageApi::follow(Response& response) {
  through(viewers_, response, [&](CGate::Pass pass) {
    const auto viewer = std::make_shared<CViewer>(monitor_, facts_.serverId, std::move(pass));
    response.set_content_provider("text/event-stream",
                                  [viewer](std::size_t, httplib::DataSink& sink) { return viewer->serve(sink); });
  });
}

void CPageApi::showPriorities(const CMonitor::Place& at, Response& response) const {
  const bacnet::ObjectId object = commandedObject(at.point());
  LinkDevice asked(at.board.link(), options_.broadcastInterface());
  Commands commands;
  if (const auto complaint = readCommands(asked.device, object, commands)) return setError(response, 409, *complaint);
  const Origins origins = readOrigins(asked.device, object, commands);
  Record slots = Record::array();
  for (std::uint8_t priority = 1; priority <= kPriorities; ++priority)
    slots.push_back(slotOf(commands, origins, priority));
  Record record;
  record["default"] =
      commands.relinquishDefault.empty() ? Record() : Record(bacnet::describe(commands.relinquishDefault));
  record["active"] = commands.active() ? Record(*commands.active()) : Record();
  record["slots"] = std::move(slots);
  setJson(response, jsonText(record));
}

void CPageApi::write(const CMonitor::Place& at, const Request& request, Response& response) const {
  const Record body = bodyOf(request);
  const Record before = at.board.state(at.place).value;
  const WriteAnswer answer = at.poller.write(at.place, textIn(body.contains("value") ? body["value"] : Record()));
  Record record;
  record["code"] = answer.code;
  record["words"] = answer.words;
  record["old"] = before;
  record["new"] = at.board.state(at.place).value;
  setJson(response, jsonText(record));
}

void CPageApi::release(const CMonitor::Place& at, const Request& request, Response& response) const {
  const std::uint8_t priority = priorityIn(bodyOf(request), at.point());
  const bacnet::ObjectId object = commandedObject(at.point());
  LinkDevice asked(at.board.link(), options_.broadcastInterface());
  if (const auto complaint = releaseAt(asked.device, object, priority)) return setError(response, 409, *complaint);
  at.poller.refresh();
  setJson(response, jsonText({{"code", 0}, {"words", ""}}));
}

void CPageApi::examine(Response& response) const {
  const Boards& boards = monitor_.boards();
  Record steps = Record::array();
  for (const auto& board : boards) {
    Options own = options_;
    own.link = board->link().linkId;
    const std::string prefix = boards.size() > 1 ? fmt::format("link {}: ", own.link) : "";
    examineLink(own, [&](const std::string& step, const Finding& finding) {
      Record record;
      record["step"] = prefix + step;
      record["result"] = wordOf(finding.verdict);
      record["text"] = finding.detail;
      record["remedy"] = finding.remedy.empty() ? Record() : Record(finding.remedy);
      steps.push_back(record);
      return !isInterrupted();
    });
  }
  setJson(response, jsonText({{"steps", steps}}));
}

}  // namespace tool

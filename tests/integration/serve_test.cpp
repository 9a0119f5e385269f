#include <gmock/gmock.h>
#include <httplib.h>

#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/helper_project.h"
#include "support/poll.h"
#include "support/program.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

// hmi-host serve on a link with the simulator, asked as the page asks it.
class Serve : public ::testing::Test {
 protected:
  Serve() {
    project_.writeProject(support::symbolXml(1, "Temp", "REAL") + support::symbolXml(2, "Fan", "BOOL") +
                          support::symbolXml(3, "Name", "STRING", 77));
  }

  std::string arguments(const std::string& more) const {
    return "--project " + project_.dir.path().string() + " --link " + std::to_string(project_.link) +
           " --interface lo serve --interval 100 " + more;
  }
  void start(const std::string& more = "--listen 127.0.0.1:0") {
    server_ = std::make_unique<support::Program>("hmi-host", arguments(more));
    const std::string line = server_->readyLine();
    ASSERT_EQ(line.rfind("page: http://", 0), 0U) << line << server_->err();
    origin_ = line.substr(6, line.find('/', 13) - 6);
    client_ = std::make_unique<httplib::Client>(origin_);
  }

  json get(const std::string& path) {
    const auto answer = client_->Get(path);
    EXPECT_TRUE(answer && answer->status == 200) << path;
    return answer ? json::parse(answer->body) : json();
  }
  httplib::Result post(const std::string& path, const std::string& body) {
    return client_->Post(path, {{"Origin", origin_}, {"X-Requested-With", "hmi-host"}}, body, "application/json");
  }
  bool hasCome(const std::string& path, const std::function<bool(const json&)>& isIt) {
    return support::waitUntil([&] { return isIt(get(path)); });
  }
  bool areAll(const std::string& quality) {
    return hasCome("/api/links", [&](const json& links) { return links[0][quality] == 3; });
  }

  const support::HelperProject project_;
  std::unique_ptr<support::Program> server_;
  std::string origin_;
  std::unique_ptr<httplib::Client> client_;
};

TEST_F(Serve, ShowsPointsWritesThemAndEndsAtOnce) {
  start();
  ASSERT_TRUE(areAll("good"));
  const auto page = client_->Get("/");
  ASSERT_TRUE(page);
  EXPECT_THAT(page->body, HasSubstr("<title>hmi-host</title>"));
  EXPECT_THAT(page->get_header_value("Content-Security-Policy"), HasSubstr("default-src 'none'"));
  EXPECT_THAT(client_->Get("/dygraph.min.js")->get_header_value("Content-Type"), HasSubstr("javascript"));
  EXPECT_EQ(client_->Get("/../etc/passwd")->status, 404);
  EXPECT_EQ(client_->Get("/api/points/3/history")->status, 404);

  const json points = get("/api/points");
  EXPECT_EQ(points[0]["name"], "Temp");
  EXPECT_EQ(points[0]["object"], "analog-value,1");
  const auto answer = post("/api/points/0/write", R"({"value":"19.5"})");
  ASSERT_TRUE(answer);
  EXPECT_EQ(json::parse(answer->body)["new"], 19.5);
  EXPECT_EQ(json::parse(answer->body)["old"].is_number(), true);
  EXPECT_EQ(get("/api/points")[0]["text"], "19.5");
  EXPECT_EQ(post("/api/points/0/write", R"({"value":"warm"})")->status, 400);
  EXPECT_EQ(post("/api/points/0/write", std::string(20000, ' '))->status, 413);
  EXPECT_EQ(client_->Post("/api/points/0/write", R"({"value":"1"})", "application/json")->status, 403);
  EXPECT_EQ(get("/api/points")[0]["text"], "19.5");

  server_->signal(SIGTERM);
  EXPECT_EQ(server_->waitForEnd(), 130);
}

TEST_F(Serve, TellsViewersOfChangesAndOutlivesItsHelper) {
  start();
  ASSERT_TRUE(areAll("good"));
  std::string stream;
  client_->Get("/api/events", [&](const char* data, std::size_t size) {
    stream.append(data, size);
    return stream.find("event: values") == std::string::npos;
  });
  EXPECT_THAT(stream, HasSubstr("event: hello\ndata: {\"serverId\":"));
  EXPECT_THAT(stream, HasSubstr("event: links\ndata: [{\"link\":"));
  EXPECT_THAT(stream, HasSubstr("event: values\ndata: {\"time\":"));

  const auto first = project_.helperPid();
  project_.killHelper();
  EXPECT_TRUE(support::waitUntil([&] { return project_.helperPid() != first && project_.helperPid() != 0; }));
  ASSERT_TRUE(areAll("good")) << "another helper has been started";
}

TEST_F(Serve, AsksForATokenAndWritesNothingWhereToldSo) {
  start("--listen 127.0.0.1:0 --token --read-only");
  EXPECT_EQ(client_->Get("/")->status, 200);
  EXPECT_EQ(client_->Get("/api/state")->status, 401);
  const std::string line = server_->readyLine();
  const std::string token = line.substr(line.find("#token=") + 7, 32);
  client_->set_bearer_token_auth(token);
  EXPECT_EQ(get("/api/state")["writes"], false);
  EXPECT_EQ(post("/api/points/0/write", R"({"value":"1"})")->status, 403);

  const std::string port = origin_.substr(origin_.rfind(':') + 1);
  support::Program second("hmi-host", arguments("--listen 127.0.0.1:" + port));
  EXPECT_EQ(second.waitForEnd(), 2);
  EXPECT_THAT(second.err(), HasSubstr("cannot listen on 127.0.0.1:" + port + ": Address already in use"));
}

}  // namespace

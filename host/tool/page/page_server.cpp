#include "host/tool/page/page_server.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>

#include "host/tool/console/interrupt.h"
#include "host/tool/failure.h"
#include "host/tool/page/api.h"
#include "host/tool/page/discovery.h"
#include "host/tool/page/guard.h"
#include "host/tool/page/http_server.h"
#include "host/tool/page/monitor.h"
#include "host/tool/page/site.h"

namespace tool {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLinksEvery{10};  // told to the page, be they as they were
constexpr unsigned kLastCall = 1;                // s

Rules rulesFor(const PageSettings& settings) {
  const bool isLocal = isLoopback(settings.ip);
  Rules rules;
  rules.ip = settings.ip;
  if (settings.wantsToken || !isLocal) rules.token = randomToken();
  rules.takesWrites = !settings.isReadOnly && (isLocal || settings.allowsWrites);
  return rules;
}

extern "C" void onLastCall(int /*signal*/) {
  _exit(static_cast<int>(ExitStatus::kInterrupted));
}

// What the driver still does then is of no use to anybody.
void endSoon() {
  std::signal(SIGALRM, onLastCall);
  alarm(kLastCall);
}

}  // namespace

void servePage(const Options& options, const std::vector<plant::Link>& links, const PageSettings& settings,
               const std::function<void(const std::string& address)>& onReady) {
  const Rules rules = rulesFor(settings);
  const ServerFacts facts = {randomToken(), nowMs(), settings.interval.count(), settings.isReadOnly, rules.takesWrites};
  const CInterruptNote note;
  CMonitor monitor(options, links, settings.interval, facts.serverId);
  CDiscovery discovery(options, links);
  CPageApi api(options, facts, monitor, discovery);
  CHttpServer server(rules);
  addSite(server);
  api.addTo(server);
  const std::uint16_t port = server.listen(settings.port);
  monitor.start();
  onReady(fmt::format("http://{}:{}/{}", settings.ip, port, rules.token.empty() ? "" : "#token=" + rules.token));
  while (note.waitUntil(steady_clock::now() + kLinksEvery, -1) == CInterruptNote::Event::kTime) monitor.publishLinks();
  endSoon();
  monitor.feed().close();
}

}  // namespace tool

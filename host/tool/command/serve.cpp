#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/link/network_interface.h"
#include "host/tool/link/project.h"
#include "host/tool/page/page_server.h"
#include "io/address.h"

namespace tool {

namespace {

constexpr std::uint16_t kPort = 8080;

struct ServeOptions {
  std::string listen = "127.0.0.1:8080";
  PageSettings page;
  int intervalMs = 1000;
};

// Port 0 is none that io::parseAddress takes.
void readListen(const std::string& text, PageSettings& page) {
  const std::size_t colon = text.rfind(':');
  const bool isAnyPort = colon != std::string::npos && text.substr(colon + 1) == "0";
  const auto address = io::parseAddress(isAnyPort ? text.substr(0, colon) : text, kPort);
  if (!address || address->ip == io::kAnyIp)
    throw CFailure(ExitStatus::kUsage, fmt::format("--listen '{}' is no address of this machine", text),
                   "write it as 127.0.0.1:8080; 'ip -4 addr' lists the others");
  page.ip = io::ipText(address->ip);
  page.port = isAnyPort ? std::uint16_t{0} : address->port;
}

// The one named, or every link of the project.
std::vector<plant::Link> linksOf(const Options& options) {
  if (options.isLinkNamed) return {readPresentLink(options)};
  auto links = readLinks(options);
  if (links.empty())
    throw CFailure(ExitStatus::kProject, "the project file has no links", "'hmi-host check' tells more");
  return links;
}

ExitStatus serve(const Options& options, COutput& output, const ServeOptions& own) {
  PageSettings page = own.page;
  readListen(own.listen, page);
  page.interval = std::chrono::milliseconds(own.intervalMs);
  const auto links = linksOf(options);
  addressOf(options.networkInterface);
  servePage(options, links, page, [&](const std::string& address) { output.write("page: " + address + "\n"); });
  return ExitStatus::kInterrupted;
}

}  // namespace

void addServe(CLI::App& app, Action& action) {
  CLI::App* const command =
      app.add_subcommand("serve", "a page with the points of the link named, or of all, until Ctrl-C");
  const auto own = std::make_shared<ServeOptions>();
  command->add_option("--listen", own->listen, "where; beyond the loopback the page asks for the token printed")
      ->type_name("ADDRESS:PORT")
      ->capture_default_str();
  command->add_flag("--token", own->page.wantsToken, "ask for a token on the loopback, too");
  const auto allow =
      command->add_flag("--allow-write", own->page.allowsWrites, "write and release beyond the loopback, too");
  command->add_flag("--read-only", own->page.isReadOnly, "neither write nor release")->excludes(allow);
  command->add_option("--interval", own->intervalMs, "from round to round")
      ->type_name("MS")
      ->check(CLI::Range(100, 3600000).description(""))
      ->capture_default_str();
  setExample(*command, "hmi-host --project /opt/project --interface eth0 serve");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return serve(options, output, *own); };
  });
}

}  // namespace tool

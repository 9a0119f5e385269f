#include "host/tool/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace tool {

namespace {

constexpr std::int32_t kLongestString = 512;  // bytes: what a helper takes of one point

const std::map<std::string, Format> kFormats = {
    {"table", Format::kTable}, {"json", Format::kJson}, {"csv", Format::kCsv}};

constexpr const char* kExitStatus =
    "Exit status: 0 all well, 1 internal error, 2 usage, 3 project file, 4 plug-in,\n"
    "5 helper or device not to be reached, 6 helper refuses, 7 some points failed, 8 link serves another project,\n"
    "130 interrupted.\n\n"
    "Example:\n  hmi-host --project /opt/project --interface eth0 read --all";

// A leading 0 or 0x would make it a number of another base.
std::string checkDecimal(const std::string& text) {
  const bool isDecimal = text.find_first_not_of("0123456789") == std::string::npos && (text[0] != '0' || text == "0");
  return isDecimal ? "" : text + " is no decimal number";
}

std::string checkEven(const std::string& text) {
  return (text.back() - '0') % 2 == 0 ? "" : text + " is not even";
}

void addCommonOptions(CLI::App& app, Options& options, std::string& format) {
  app.add_option("--plugin", options.plugin,
                 "driver plug-in (in the project, beside this program or in ../lib/hmi-drivers)")
      ->type_name("FILE");
  app.add_option("--project", options.project, "directory with BACnetLabel.xml and the helper")->type_name("DIR");
  app.add_option("--link", options.link, "number of the link")
      ->type_name("N")
      ->check(CLI::Validator(checkDecimal, ""))
      ->check(CLI::Range(0, std::numeric_limits<std::int32_t>::max()).description(""))
      ->capture_default_str();
  app.add_flag("--take-over", options.takesOver, "use a link whose helper serves another project");
  app.add_option("--interface", options.networkInterface, "network interface that carries the link")
      ->type_name("NAME")
      ->capture_default_str();
  app.add_option("--format", format, "table, json or csv")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"table", "json", "csv"}).description(""))
      ->capture_default_str();
  app.add_option("--string-bytes", options.stringBytes, "register length of STRING points, even")
      ->type_name("N")
      ->check(CLI::Validator(checkDecimal, ""))
      ->check(CLI::Range(2, kLongestString).description(""))
      ->check(CLI::Validator(checkEven, ""))
      ->capture_default_str();
}

// The helper outlives this process and may have another working directory: it needs the whole path.
std::string wholeDirectory(const std::string& directory) {
  namespace fs = std::filesystem;
  if (directory.empty())
    throw CFailure(ExitStatus::kUsage, "no project directory is named",
                   "name the one with BACnetLabel.xml: --project DIR");
  std::error_code unknown;
  if (!fs::is_directory(directory, unknown))
    throw CFailure(ExitStatus::kProject, fmt::format("there is no project directory '{}'", directory),
                   "name one with --project");
  const std::string path = fs::absolute(directory).lexically_normal().string();
  return path.back() == '/' ? path : path + '/';
}

// In one line. A mistyped command is not called a missing one.
std::string problemOf(const CLI::App& app, const CLI::ParseError& mistake) {
  const std::vector<std::string> unknown = app.remaining();
  if (app.get_subcommands().empty() && !unknown.empty())
    return fmt::format("there is no command '{}'", unknown.front());
  std::string text = mistake.what();
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

}  // namespace

std::optional<ExitStatus> readCommandLine(int argc, char** argv, Options& options, Action& action) {
  CLI::App app("Reads and writes the points of a field-bus link through its driver plug-in.", "hmi-host");
  app.set_version_flag("--version", "hmi-host " HOST_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kExitStatus);
  std::string format = "table";
  addCommonOptions(app, options, format);
  addCommands(app, action);

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    app.exit(asked);
    if (!std::cout.flush())
      throw CFailure(ExitStatus::kInternal, "cannot write the output", "make room, or send it elsewhere");
    return ExitStatus::kWell;
  } catch (const CLI::ParseError& mistake) {
    throw CFailure(ExitStatus::kUsage, problemOf(app, mistake), "'hmi-host --help' shows the commands and options");
  }
  options.format = kFormats.at(format);
  options.isLinkNamed = app.count("--link") > 0;
  options.isInterfaceNamed = app.count("--interface") > 0;
  if (action.needsProject || !options.project.empty()) options.project = wholeDirectory(options.project);
  return std::nullopt;
}

}  // namespace tool

#include "host/tool/command/commands.h"

#include <CLI/CLI.hpp>
#include <limits>

namespace tool {

namespace {

// In the order of the help.
constexpr AddCommand* kCommands[] = {
    addInfo,  addLinks, addPoints, addCheck,  addRead,   addWrite,    addPriorities, addRelease,     addWatch,
    addServe, addBench, addDoctor, addImport, addExport, addDiscover, addObjects,    addMakeProject,
};

}  // namespace

void addCommands(CLI::App& app, Action& action) {
  for (AddCommand* const add : kCommands) add(app, action);
}

CLI::Validator atLeastOne() {
  return CLI::Range(1, std::numeric_limits<int>::max()).description("");
}

void setExample(CLI::App& command, const std::string& example) {
  command.footer("The options that 'hmi-host --help' lists are accepted here, too.\n\nExample:\n  " + example);
}

}  // namespace tool

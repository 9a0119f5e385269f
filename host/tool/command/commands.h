#pragma once

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <functional>
#include <string>

#include "host/tool/console/output.h"
#include "host/tool/failure.h"
#include "host/tool/options.h"

namespace tool {

/// What the command line asks for.
struct Action {
  /// Throws CFailure or ReaderGone.
  std::function<ExitStatus(const Options&, COutput&)> run;
  bool needsProject = true;  ///< without one, `Options::project` may be empty
};

/// Adds one command with its own options to `app`; when the command line names it, parsing leaves what is to be done in
/// `action`, which then holds the options' values itself.
using AddCommand = void(CLI::App& app, Action& action);

AddCommand addInfo;
AddCommand addLinks;
AddCommand addPoints;
AddCommand addRead;
AddCommand addWrite;
AddCommand addDiscover;
AddCommand addObjects;
AddCommand addMakeProject;
AddCommand addPriorities;
AddCommand addRelease;
AddCommand addWatch;
AddCommand addServe;
AddCommand addBench;
AddCommand addDoctor;
AddCommand addCheck;
AddCommand addImport;
AddCommand addExport;

/// Adds them all.
AddCommand addCommands;

/// Check of an option that counts something.
CLI::Validator atLeastOne();

/// Closes a command's help: where the common options are, and an example.
void setExample(CLI::App& command, const std::string& example);

}  // namespace tool

#pragma once

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <functional>

#include "host/tool/console/output.h"
#include "host/tool/failure.h"
#include "host/tool/options.h"

namespace tool {

/// What a parsed command does. Throws CFailure or ReaderGone.
using Action = std::function<ExitStatus(const Options&, COutput&)>;

// Each adds one command with its own options to `app`; when the command line names it, parsing leaves what is to be
// done in `action`, which then holds the options' values itself.
void addInfo(CLI::App& app, Action& action);
void addPoints(CLI::App& app, Action& action);
void addRead(CLI::App& app, Action& action);
void addWrite(CLI::App& app, Action& action);
void addWatch(CLI::App& app, Action& action);
void addBench(CLI::App& app, Action& action);
void addDoctor(CLI::App& app, Action& action);

/// Check of an option that counts something.
CLI::Validator atLeastOne();

/// Closes a command's help: where the common options are, and an example.
void setExample(CLI::App& command, const std::string& example);

}  // namespace tool

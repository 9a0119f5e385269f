#include "host/tool/link/session.h"

#include <fmt/format.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "host/tool/failure.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/helper_process.h"
#include "host/tool/link/network_interface.h"
#include "host/tool/link/project.h"
#include "host/tool/link/result_codes.h"

namespace tool {

namespace {

// The driver starts its helper through the shell that this variable names.
void provideShell() {
  const char* const shell = std::getenv("SHELL");
  if (shell == nullptr || *shell == '\0') setenv("SHELL", "/bin/sh", 1);
}

driver::CConfig configOf(const Options& options) {
  driver::CConfig config;
  config.setConnectNum(options.link);
  config.setConfigFilePath(options.project);
  config.setCommuConfig({options.networkInterface});
  return config;
}

std::string remedyFor(std::int32_t code, std::int32_t link) {
  return fmt::format("{}; its log is {}", textOf(code).remedy, helperLog(link));
}

std::string whatToDoWithHelper(std::int32_t link) {
  return fmt::format("look at the end of its log, {}; if its process still runs, end it: {} has its number",
                     helperLog(link), helperPidFile(link));
}

}  // namespace

CSession::CSession(const Options& options) : CSession(options, std::make_unique<CPlugin>(findPlugin(options))) {}

CSession::CSession(const Options& options, std::unique_ptr<CPlugin> plugin)
    : options_(options), plugin_(std::move(plugin)) {
  provideShell();
  plugin_->requireAbiVersion();
  makeDriver();
}

void CSession::makeDriver() {
  isInitialised_ = false;
  driver_ = nullptr;
  owner_ = rttr::variant();  // one driver at a time
  owner_ = plugin_->createDriver();
  driver_ = owner_.extract_wrapped_value().convert<driver::CDriver*>();
  if (driver_ == nullptr)
    throw CFailure(ExitStatus::kPlugin, fmt::format("{} creates an object that is no driver", plugin_->path()),
                   "use the plug-in and the hmi-host of one release");
}

CSession::~CSession() {
  driver_ = nullptr;
  owner_ = rttr::variant();
}

void CSession::init() {
  requireOwn(options_);
  if (!isServed(options_.link)) findHelper(options_.project);  // the driver would only wait for it in vain
  const std::int32_t code = guarded([&] { return driver_->init(configOf(options_)); });
  isInitialised_ = code == kDone;
  if (isInitialised_) return;
  if (code == kNoAnswer)
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("the helper of link {} does not start (init {})", options_.link, code),
                   fmt::format("run it by hand to see why: {} {} -f", findHelper(options_.project), options_.link));
  if (code == kHandOffUnanswered)
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("the helper of link {} does not take the project file (init {})", options_.link, code),
                   whatToDoWithHelper(options_.link));
  throw CFailure(ExitStatus::kRefused,
                 fmt::format("the helper of link {} refused the project file with code {}: {}", options_.link, code,
                             textOf(code).meaning),
                 remedyFor(code, options_.link));
}

void CSession::connect() {
  requireOwn(options_);
  requireAddress();
  ++connects_;
  const std::int32_t code = guarded([&] { return driver_->connect(); });
  if (code == kDone) return;
  if (code == kNoAnswer)
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("the helper of link {} does not answer (connect {})", options_.link, code),
                   whatToDoWithHelper(options_.link));
  throw CFailure(ExitStatus::kRefused,
                 fmt::format("the helper of link {} refused to connect with code {}: {}", options_.link, code,
                             textOf(code).meaning),
                 remedyFor(code, options_.link));
}

// Without one the driver only answers that it failed. An interface that had one when the session began may get it back.
void CSession::requireAddress() const {
  const auto failure = failureOf([&] { addressOf(options_.networkInterface); });
  if (failure) throw CFailure(ExitStatus::kUnreachable, failure->problem(), failure->remedy());
}

// The rest of a broken answer stays in a driver's client as long as the driver lives.
void CSession::reconnect() {
  if (isInitialised_) {
    const auto failure = failureOf([&] { connect(); });
    if (!failure) return;
    if (failure->status() == ExitStatus::kTaken) throw CFailure(*failure);
  }
  makeDriver();
  init();
  connect();
}

CRegister CSession::prepare(const plant::Point& point) {
  CRegister reg(std::to_string(point.regId), static_cast<std::uint32_t>(registerBytes(point, options_)));
  if (driver_->prepareRegister(reg) == 0) return reg;
  throw CFailure(ExitStatus::kProject,
                 fmt::format("the driver does not know {} (RegId {})", point.fullName(), point.regId),
                 "the project file has changed meanwhile; try again");
}

std::int32_t CSession::guarded(const std::function<std::int32_t()>& call) const {
  try {
    return call();
  } catch (const std::logic_error&) {  // a number was asked for: none there, or out of range
    throw CFailure(ExitStatus::kRefused, "the helper answered with text that is no number",
                   "it is broken, or no helper of this driver");
  } catch (const std::system_error& error) {
    throw CFailure(ExitStatus::kInternal, fmt::format("the driver cannot go on: {}", error.what()), "try again");
  }
}

std::string CSession::typeName() const {
  return rttr::type::get(*driver_).get_name().to_string();
}

std::unique_ptr<CSession> openSession(const Options& options) {
  addressOf(options.networkInterface);
  auto session = std::make_unique<CSession>(options);
  session->init();
  session->connect();
  return session;
}

}  // namespace tool

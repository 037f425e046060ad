// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/com/deployment.h"
#include "platform/log/log_config.h"
#include "platform/maintaind/daemon/daemon.h"
#include "tools/common/standard_streams.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;
constexpr const char* kExamples =
    "Examples:\n"
    "  maintaind                              instance 0; applications and tools of this host find it by themselves\n"
    "  maintaind --instance 1 --deployment d  a second one, with the types and services that the folder d describes\n"
    "  maintaind --domain 0 --domain 7        watches DDS domains 0 and 7 and no others\n"
    "  maintaind --interface 192.168.0.10     watches DDS on that network too, not only on this host";

/// Signals that end the program go to Wait() and to no thread.
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }
  void Wait() const {
    int signal = 0;
    sigwait(&signals_, &signal);
  }

 private:
  sigset_t signals_{};
};

}  // namespace

int main(int argc, char** argv) {
  qor::tools::OpenStandardStreams();
  qor::maintaind::DaemonOptions options;
  options.deploymentDir = qor::com::DeploymentDirectory();
  std::vector<std::uint16_t> domains;
  std::string runtimeDir;
  std::string logLevel;

  CLI::App app("Keeps the registry of what the applications of this host publish and serve, and answers the tools.");
  app.name("maintaind");
  app.footer(kExamples);
  app.set_version_flag("--version", "maintaind " QOR_VERSION);
  app.add_option("--instance", options.instance, "Number of this daemon on the host; each number runs once")
      ->check(CLI::Range(0, 65534))
      ->capture_default_str();
  app.add_option("--domain", domains, "DDS domain to watch, may be repeated [0 and those that applications use]")
      ->check(CLI::Range(0, 232))
      ->allow_extra_args(false);
  app.add_option("--deployment", options.deploymentDir,
                 "Folder with the deployed types and services [QOR_DEPLOYMENT_DIR]")
      ->check(CLI::ExistingDirectory);
  app.add_option("--interface", options.dds.interfaceIp, "Address of a network to watch DDS on besides this host")
      ->check(CLI::ValidIPV4);
  app.add_option("--runtime-dir", runtimeDir, "Folder of the daemons' sockets [QOR_RUNTIME_DIR]");
  app.add_option("--log-level", logLevel, "Least level on stderr [warn]")
      ->check(CLI::IsMember({"verbose", "debug", "info", "warn", "error", "off"}));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_SUCCESS : kWrongUsage;
  }
  if (!runtimeDir.empty()) {
    setenv("QOR_RUNTIME_DIR", runtimeDir.c_str(), 1);
  }
  if (!domains.empty()) {
    options.dds.domains = domains;
  }
  qor::log::LogOptions log = qor::log::LogOptionsFromEnvironment();
  log.stderrLevel = qor::log::ParseLogLevel(logLevel).value_or(log.stderrLevel);
  if (!qor::log::ConfigureLog(log)) {
    return kFailure;
  }

  const EndSignals endSignals;  // before any thread starts, so that all of them leave the signals alone
  qor::maintaind::Daemon daemon(std::move(options));
  if (const auto started = daemon.Start(); !started) {
    std::cerr << "maintaind: " << started.Error().Message() << '\n';
    return kFailure;
  }
  endSignals.Wait();
  daemon.Stop();
  return EXIT_SUCCESS;
}

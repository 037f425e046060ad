// SPDX-License-Identifier: Apache-2.0
#include <chrono>
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
#include "platform/someip/sd/services.h"
#include "tools/common/standard_streams.h"

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;
constexpr const char* kExamples =
    "Examples:\n"
    "  maintaind                              instance 0; applications and tools of this host find it by themselves\n"
    "  maintaind --instance 1 --deployment d  a second one, with the types and services that the folder d describes\n"
    "  maintaind --domain 0 --domain 7        watches DDS domains 0 and 7 and no others\n"
    "  maintaind --interface 192.168.0.10     speaks SOME/IP and watches DDS on that network too, not only on this "
    "host";

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

/// SOME/IP service discovery as the command line says it.
struct DiscoveryOptions {
  std::string group = "224.224.224.245";
  std::uint32_t ttl = 3;
  std::uint32_t period = 1000;
  std::uint32_t initialDelay = 500;
  std::uint32_t repetitions = 3;
  std::uint32_t repetitionDelay = 30;
};

void AddDiscoveryOptions(CLI::App& app, CLI::Option* interface, DiscoveryOptions& discovery) {
  const auto add = [&](const char* name, auto& value, const char* text) {
    return app.add_option(name, value, text)
        ->needs(interface)
        ->capture_default_str()
        ->group("SOME/IP service discovery, with --interface");
  };
  add("--sd-group", discovery.group, "Multicast group")->check(CLI::ValidIPV4);
  add("--sd-ttl", discovery.ttl, "Seconds that offers and subscriptions hold; 16777215: until reboot")
      ->check(CLI::Range(1U, qor::someip::sd::kTtlUntilReboot));
  add("--sd-period", discovery.period, "Milliseconds between two offers; 0: none after the repetitions");
  add("--sd-initial-delay", discovery.initialDelay, "Milliseconds before the first offer or find, at most");
  add("--sd-repetitions", discovery.repetitions, "Repetitions after it, each pause twice the one before")
      ->check(CLI::Range(0, 16));
  add("--sd-repetition-delay", discovery.repetitionDelay, "Milliseconds before the first repetition");
}

/// What is wrong with the options; empty when nothing is.
std::string UseNetwork(const DiscoveryOptions& discovery, qor::maintaind::DaemonOptions& options) {
  using qor::someip::Ipv4Address;
  if (options.dds.interfaceIp.empty()) {
    return {};
  }
  const auto address = Ipv4Address::FromText(options.dds.interfaceIp);
  if (!address || !address->IsHost()) {
    return "--interface: '" + options.dds.interfaceIp + "' is no address that a host can have";
  }
  const auto group = Ipv4Address::FromText(discovery.group);
  if (!group || !group->IsMulticast()) {
    return "--sd-group: '" + discovery.group + "' is no multicast group; these are 224.0.0.0 to 239.255.255.255";
  }
  qor::maintaind::SomeipGatewayOptions network{.address = *address, .group = *group, .discovery = {}};
  auto& timing = network.discovery.timing;
  timing.offerTtl = discovery.ttl;
  timing.cyclicOfferPeriod = std::chrono::milliseconds(discovery.period);
  timing.initialDelayMax = std::chrono::milliseconds(discovery.initialDelay);
  timing.repetitions = discovery.repetitions;
  timing.repetitionBaseDelay = std::chrono::milliseconds(discovery.repetitionDelay);
  if (const std::string fault = qor::someip::sd::CheckSdConfig(network.discovery); !fault.empty()) {
    return "service discovery: " + fault;
  }
  options.someip = network;
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  qor::tools::OpenStandardStreams();
  qor::maintaind::DaemonOptions options;
  options.deploymentDir = qor::com::DeploymentDirectory();
  DiscoveryOptions discovery;
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
  auto* const interface =
      app.add_option("--interface", options.dds.interfaceIp,
                     "Address of this host on a network: SOME/IP services are offered and found there, DDS is watched")
          ->check(CLI::ValidIPV4);
  AddDiscoveryOptions(app, interface, discovery);
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
  if (const std::string fault = UseNetwork(discovery, options); !fault.empty()) {
    std::cerr << "maintaind: " << fault << '\n';
    return kWrongUsage;
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

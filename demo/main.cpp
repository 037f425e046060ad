// SPDX-License-Identifier: Apache-2.0
#include <CLI/CLI.hpp>

#include "demo/roles.h"

int main(int argc, char** argv) {
  using namespace qor::demo;
  CLI::App app("One program of the demo vehicle. Runs until Ctrl-C. Reads the deployment folder QOR_DEPLOYMENT_DIR.");
  app.require_subcommand(1);
  Schedule schedule;
  int status = 0;
  const auto add = [&](const char* name, const char* what, int (*run)(Schedule&)) {
    app.add_subcommand(name, what)->callback([&schedule, &status, run] { status = run(schedule); });
  };
  add("chassis", "wheel ticks at 1 kHz, speed at 100 Hz", &RunChassis);
  add("camera", "images of 2 MB at 30 Hz and what is seen on them", &RunCamera);
  add("body", "doors at 1 Hz, the state of the body at 10 Hz", &RunBody);
  add("dashboard", "subscribes to all of them, prints one line a second", &RunDashboard);

  LoadOptions options;
  CLI::App* load = app.add_subcommand("load", "publishes /load/0000, /load/0001 ... for measurements");
  load->add_option("--events", options.events, "number of events")->check(CLI::Range(1, 10000))->capture_default_str();
  load->add_option("--rate", options.rate, "samples a second of each; 0: as fast as it goes")
      ->check(CLI::Range(0.0, 100000.0))
      ->capture_default_str();
  load->add_option("--size", options.size, "bytes of a sample")
      ->check(CLI::Range(kMinLoadSize, 64U << 20U))
      ->capture_default_str();
  load->add_option("--transport", options.transport, "SHM or UDP")
      ->check(CLI::IsMember({"SHM", "UDP"}))
      ->capture_default_str();
  load->add_option("--domain", options.domain, "DDS domain")->check(CLI::Range(0, 232))->capture_default_str();
  load->callback([&] { status = RunLoad(schedule, options); });

  CLI11_PARSE(app, argc, argv);
  return status;
}

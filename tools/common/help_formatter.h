// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_HELP_FORMATTER_H
#define QOR_TOOLS_COMMON_HELP_FORMATTER_H

#include <string>

#include <CLI/CLI.hpp>

namespace qor::tools {

/// Help that names a positional argument as its text says, "FILE...", in the usage and in the list.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_usage(const CLI::Option* option) const override {
    const std::string& text = option->get_option_text();
    if (text.empty()) {
      return CLI::Formatter::make_option_usage(option);
    }
    return option->get_required() ? text : "[" + text + "]";
  }
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    const std::string& text = option->get_option_text();
    return isPositional && !text.empty() ? text : CLI::Formatter::make_option_name(option, isPositional);
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const bool isNamed = option->get_positional() && !option->get_option_text().empty();
    return isNamed ? "" : CLI::Formatter::make_option_opts(option);
  }
};

}  // namespace qor::tools

#endif

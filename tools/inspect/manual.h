#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace inspect {

/// The manual page of a program with verbs, as troff, from what its --help says.
std::string ManualPage(const CLI::App& app);

/// What completes its verbs and options in bash.
std::string BashCompletion(const CLI::App& app);

}  // namespace inspect

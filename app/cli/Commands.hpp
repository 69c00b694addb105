#pragma once

#include <CLI/CLI.hpp>

namespace lorvan::cli {

/// Exit statuses shared by every command.
enum ExitStatus : int { exitSuccess = 0, exitRefused = 1, exitUsage = 2 };

/// Each command adds its subcommand to `app` and, when it runs, stores its exit status in
/// `status`. Commands run on the main thread.
void addCueCommand(CLI::App& app, int& status);
void addInfoCommand(CLI::App& app, int& status);
void addDemoCommand(CLI::App& app, int& status);
void addThemesCommand(CLI::App& app, int& status);
void addPlayCommand(CLI::App& app, int& status);
void addRenderCommand(CLI::App& app, int& status);

} // namespace lorvan::cli

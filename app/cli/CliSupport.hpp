#pragma once

#include "app/session/DiscOpening.hpp"
#include "core/LocalizedError.hpp"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace lorvan::cli {

/// `{"error": {"type", "kind", "line", "value", "errorDescription", "failureReason"}}`, with
/// null for what the error does not have.
[[nodiscard]] nlohmann::json errorJson(const LocalizedError& error);

/// `text` on one line: scripts read a refusal's last line as its reason, so a text laid out over
/// several lines (a file name set apart below its sentence) becomes one, each run of blank space
/// one space.
[[nodiscard]] std::string oneLine(std::string_view text);

/// The refusal's last line of plain output: description, then the failure reason if any.
[[nodiscard]] std::string refusalLine(const LocalizedError& error);

/// Prints a refusal the way every command does: JSON on stdout with `json`, else the one-line
/// description on stdout. Returns the exit status for a refused input.
int reportRefusal(const LocalizedError& error, bool json);

/// Refuses an empty value for a number option (`--rate ""`), which would otherwise read as no
/// option at all: a usage error.
[[nodiscard]] const CLI::Validator& nonEmptyNumber();
/// Accepts only a decimal number from 0 to 2^64 - 1: no sign, no wrap-around of -1, no value
/// cut to the largest one.
[[nodiscard]] const CLI::Validator& unsigned64();

/// Sends the console log to standard error so that standard output holds only JSON.
void useStandardErrorForLog();

} // namespace lorvan::cli

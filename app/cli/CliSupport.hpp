#pragma once

#include "app/session/DiscOpening.hpp"
#include "core/LocalizedError.hpp"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace lorvan::cli {

/// `{"error": {"type", "kind", "line", "value", "errorDescription", "failureReason"}}`, with
/// null for what the error does not have.
[[nodiscard]] nlohmann::json errorJson(const LocalizedError& error);

/// The refusal's last line of plain output: description, then the failure reason if any.
[[nodiscard]] std::string refusalLine(const LocalizedError& error);

/// Prints a refusal the way every command does: JSON on stdout with `json`, else the one-line
/// description on stdout. Returns the exit status for a refused input.
int reportRefusal(const LocalizedError& error, bool json);

/// Sends the console log to standard error so that standard output holds only JSON.
void useStandardErrorForLog();

} // namespace lorvan::cli

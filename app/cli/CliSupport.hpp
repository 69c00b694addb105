#pragma once

#include "core/LocalizedError.hpp"
#include "core/Url.hpp"

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

/// Refuses a path the user named that cannot be opened as `expected`, before any reader sees it.
class InputError : public LocalizedError {
public:
    InputError(std::string kind, std::filesystem::path path, std::string description, std::string reason);
    [[nodiscard]] std::string typeName() const override { return "InputError"; }
    [[nodiscard]] std::string kindName() const override { return kind_; }
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return description_; }
    [[nodiscard]] std::optional<std::string> failureReason() const override { return reason_; }
    [[nodiscard]] std::optional<std::string> value() const override { return path_.string(); }

private:
    std::string kind_;
    std::filesystem::path path_;
    std::string description_;
    std::string reason_;
};

/// The file URL of `path` when it names a readable regular file; throws `InputError` otherwise.
[[nodiscard]] Url readableFileUrl(const std::filesystem::path& path);

/// Prints a refusal the way every command does: JSON on stdout with `json`, else the one-line
/// description on stdout. Returns the exit status for a refused input.
int reportRefusal(const LocalizedError& error, bool json);

/// Sends the console log to standard error so that standard output holds only JSON.
void useStandardErrorForLog();

} // namespace lorvan::cli

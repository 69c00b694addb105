#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace lorvan {

/// Base of every error Lorvan throws to a caller: a `kind`, ready-made texts for an alert, and
/// the line and offending value where the error has them. Errors are logged where they arise
/// and thrown unchanged; the caller's state stays as it was.
class LocalizedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// The error's type name as shown in JSON refusals ("CueSheetError", "AudioDiscError", ...).
    [[nodiscard]] virtual std::string typeName() const = 0;
    /// The name of the error's kind (its enumeration case).
    [[nodiscard]] virtual std::string kindName() const = 0;
    [[nodiscard]] virtual std::optional<std::string> errorDescription() const = 0;
    [[nodiscard]] virtual std::optional<std::string> failureReason() const { return std::nullopt; }
    [[nodiscard]] virtual std::optional<std::string> recoverySuggestion() const { return std::nullopt; }
    /// 1-based line of the input where the error was found, when it is tied to one.
    [[nodiscard]] virtual std::optional<long> line() const { return std::nullopt; }
    /// The offending text, when there is one.
    [[nodiscard]] virtual std::optional<std::string> value() const { return std::nullopt; }

    /// Writes the error to the console log as its domain shows it; by default the "! Error" line
    /// of `LogEntry::error`.
    virtual void log() const;
};

/// Logs `error` where it arises and throws it unchanged, so every refusal reaches the console
/// once, in its domain's form, before any caller sees it.
template <typename Error> [[noreturn]] void throwLogged(const Error& error) {
    error.log();
    throw error;
}

} // namespace lorvan

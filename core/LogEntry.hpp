#pragma once

#include "core/IKErrorLocation.hpp"
#include "core/LocalizedError.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// One labelled console line: an optional one-character marker, a label padded with a filler
/// to a fixed value column, and an optional value. A pure value; build and print it on any thread.
class LogEntry {
public:
    /// The value column: the ": " before a value starts at this character.
    static constexpr long valueColumn = 42;

    /// A non-empty `context` and the `filler` are cut to their first character; an empty
    /// filler becomes "·". An empty (but present) context renders as a single leading space.
    LogEntry(std::optional<std::string> context, std::string label,
             std::optional<std::string> value = std::nullopt, std::string_view filler = "·");

    /// "✦ Warning" line with `message` as value and "-" as filler.
    [[nodiscard]] static LogEntry warning(std::string message,
                                          std::optional<std::string> context = std::nullopt);
    /// "! Error" line whose value is the error's description, then " | '" + reason + "'" if it has one.
    [[nodiscard]] static LogEntry error(const LocalizedError& error,
                                        std::optional<std::string> context = std::nullopt);

    [[nodiscard]] const std::optional<std::string>& context() const { return context_; }
    [[nodiscard]] const std::string& label() const { return label_; }
    [[nodiscard]] const std::optional<std::string>& value() const { return value_; }
    [[nodiscard]] const std::string& filler() const { return filler_; }

    /// The rendered line, without a line end.
    [[nodiscard]] std::string description() const;
    /// Writes `description()` and `terminator` to the console log as one write.
    void print(std::string_view terminator = "\n") const;

private:
    std::optional<std::string> context_;
    std::string label_;
    std::optional<std::string> value_;
    std::string filler_;
};

/// Shorthand for `LogEntry(context, label, value).print()`: the most common line in the log.
void log(std::string label, std::optional<std::string> value = std::nullopt,
         std::optional<std::string> context = "⦿");

/// Prefix that nests listings: empty below level 1; otherwise 4 × (level − 1) spaces followed by
/// "  " + marker + " " (or four spaces without a marker). Only the marker's first character is used.
[[nodiscard]] std::string indent(long level, std::optional<std::string_view> marker = std::nullopt);

/// The four-line block printed when a platform audio call fails. `fileURL` is the URL text of
/// the file the operation worked on, if any. The caller decides whether to throw afterwards.
void printOperationFailure(std::string_view operation, const std::optional<std::string>& fileURL, long status,
                           std::string_view statusText, const IKErrorLocation& location,
                           std::string_view function);

/// The four lines of `printOperationFailure`, joined by "\n" with a trailing "\n".
[[nodiscard]] std::string operationFailureText(std::string_view operation,
                                               const std::optional<std::string>& fileURL, long status,
                                               std::string_view statusText, const IKErrorLocation& location,
                                               std::string_view function);

} // namespace lorvan

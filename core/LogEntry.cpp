#include "core/LogEntry.hpp"

#include "core/Characters.hpp"
#include "core/Checked.hpp"
#include "core/ConsoleLog.hpp"

namespace lorvan {
namespace {

std::string repeated(std::string_view unit, long count) {
    std::string result;
    result.reserve(unit.size() * static_cast<std::size_t>(count));
    for (long i = 0; i < count; ++i)
        result.append(unit);
    return result;
}

std::optional<std::string> normalisedContext(std::optional<std::string> context) {
    if (context && !context->empty()) return firstCharacter(*context);
    return context;
}

} // namespace

LogEntry::LogEntry(std::optional<std::string> context, std::string label, std::optional<std::string> value,
                   std::string_view filler)
    : context_(normalisedContext(std::move(context)))
    , label_(std::move(label))
    , value_(std::move(value))
    , filler_(filler.empty() ? std::string("·") : firstCharacter(filler)) {}

LogEntry LogEntry::warning(std::string message, std::optional<std::string> context) {
    return LogEntry(std::move(context), "✦ Warning", std::move(message), "-");
}

LogEntry LogEntry::error(const LocalizedError& error, std::optional<std::string> context) {
    std::string value = error.errorDescription().value_or(error.what());
    if (auto reason = error.failureReason()) value += " | '" + *reason + "'";
    return LogEntry(std::move(context), "! Error", std::move(value), "-");
}

std::string LogEntry::description() const {
    std::string line;
    long prefixCount = 0;
    if (context_) {
        line = *context_ + " ";
        prefixCount = static_cast<long>(characterCount(line));
    }
    const long labelCount = static_cast<long>(characterCount(label_));
    const long gap = checkedSubtract(checkedSubtract(valueColumn, prefixCount), labelCount);
    line += label_;
    if (!value_) return line;

    // The filler is one character, so the line's length can be tracked without recounting.
    long count = checkedAdd(prefixCount, labelCount);
    const long fill = checkedSubtract(gap, 2L);
    if (fill >= 1) {
        line += ' ';
        line += repeated(filler_, fill);
        count = checkedAdd(count, checkedAdd(fill, 1L));
    }
    line += ' ';
    count = checkedAdd(count, 1L);
    const long rest = checkedSubtract(valueColumn - 1, count);
    if (rest >= 1) {
        line += repeated(filler_, rest);
        line += ' ';
    }
    line += ": ";
    line += *value_;
    return line;
}

void LogEntry::print(std::string_view terminator) const {
    ConsoleLog::write(description(), terminator);
}

void log(std::string label, std::optional<std::string> value, std::optional<std::string> context) {
    LogEntry(std::move(context), std::move(label), std::move(value)).print();
}

std::string indent(long level, std::optional<std::string_view> marker) {
    if (level < 1) return {};
    if (level > (1L << 61)) fatalError("indentation level too large");
    std::string tail =
        marker && !marker->empty() ? "  " + firstCharacter(*marker) + " " : std::string(4, ' ');
    return std::string(static_cast<std::size_t>(checkedMultiply(level - 1, 4L)), ' ') + tail;
}

std::string operationFailureText(std::string_view operation, const std::optional<std::string>& fileURL,
                                 long status, std::string_view statusText, const IKErrorLocation& location,
                                 std::string_view function) {
    std::string text = "Operation '";
    text.append(operation);
    if (fileURL) {
        text += "' on audio file '" + *fileURL + "' failed with error '";
        text.append(statusText);
        text += "'.\n";
    } else {
        text += "' failed with error " + std::to_string(status) + " '";
        text.append(statusText);
        text += "'.\n";
    }
    text += "  ┣ Source file ... : " + location.codeFilePath + "\n";
    text += "  ┣ Line .......... : " + std::to_string(location.codeFileLine) + "\n";
    text += "  ┗ Function ...... : ";
    text.append(function);
    text += "\n";
    return text;
}

void printOperationFailure(std::string_view operation, const std::optional<std::string>& fileURL, long status,
                           std::string_view statusText, const IKErrorLocation& location,
                           std::string_view function) {
    ConsoleLog::write(operationFailureText(operation, fileURL, status, statusText, location, function), "");
}

} // namespace lorvan

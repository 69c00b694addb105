#include "CliSupport.hpp"

#include "Commands.hpp"
#include "core/ConsoleLog.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace lorvan::cli {
namespace {
template <typename T> nlohmann::json orNull(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}
} // namespace

nlohmann::json errorJson(const LocalizedError& error) {
    return {{"error",
             {{"type", error.typeName()},
              {"kind", error.kindName()},
              {"line", orNull(error.line())},
              {"value", orNull(error.value())},
              {"errorDescription", orNull(error.errorDescription())},
              {"failureReason", orNull(error.failureReason())}}}};
}

std::string oneLine(std::string_view text) {
    std::string line;
    bool space = false;
    for (const char c : text) {
        if (c == '\n' || c == '\r' || c == '\t' || c == ' ') {
            space = !line.empty();
            continue;
        }
        if (space) line += ' ';
        space = false;
        line += c;
    }
    return line;
}

std::string refusalLine(const LocalizedError& error) {
    std::string text = error.errorDescription().value_or(error.what());
    if (auto reason = error.failureReason(); reason && !reason->empty()) text += ": " + *reason;
    return oneLine(text);
}

int reportRefusal(const LocalizedError& error, bool json) {
    if (json) {
        std::printf("%s\n", errorJson(error).dump(2).c_str());
    } else if (dynamic_cast<const InputError*>(&error)) {
        // Nothing was read, so there is no log to keep the line apart from.
        std::fprintf(stderr, "lorvan-cli: %s\n", refusalLine(error).c_str());
    } else {
        ConsoleLog::write(""); // keep the refusal apart from the log
        std::printf("%s\n", refusalLine(error).c_str());
    }
    std::fflush(stdout);
    return exitRefused;
}

const CLI::Validator& nonEmptyNumber() {
    static const CLI::Validator validator(
        [](std::string& value) {
            return value.empty() ? std::string("a number is needed, not an empty value") : "";
        },
        "NUMBER");
    return validator;
}

const CLI::Validator& unsigned64() {
    static const CLI::Validator validator(
        [](std::string& value) -> std::string {
            if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos)
                return "a whole number from 0 to 18446744073709551615 is needed, not '" + value + "'";
            errno = 0;
            (void)std::strtoull(value.c_str(), nullptr, 10);
            if (errno == ERANGE) return "'" + value + "' is more than 18446744073709551615";
            return {};
        },
        "UINT64");
    return validator;
}

void useStandardErrorForLog() {
    ConsoleLog::setOutput(stderr);
}

} // namespace lorvan::cli

#include "CliSupport.hpp"

#include "Commands.hpp"
#include "core/ConsoleLog.hpp"

#include <cstdio>

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

std::string refusalLine(const LocalizedError& error) {
    std::string line = error.errorDescription().value_or(error.what());
    if (auto reason = error.failureReason(); reason && !reason->empty()) line += ": " + *reason;
    return line;
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

void useStandardErrorForLog() {
    ConsoleLog::setOutput(stderr);
}

} // namespace lorvan::cli

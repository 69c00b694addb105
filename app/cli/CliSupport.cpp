#include "CliSupport.hpp"

#include "Commands.hpp"
#include "core/ConsoleLog.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

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

InputError::InputError(std::string kind, std::filesystem::path path, std::string description, std::string reason)
    : LocalizedError(description)
    , kind_(std::move(kind))
    , path_(std::move(path))
    , description_(std::move(description))
    , reason_(std::move(reason)) {}

Url readableFileUrl(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    const std::string shown = "'" + path.string() + "'";
    if (!std::filesystem::exists(status))
        throw InputError("fileNotFound", path, "Couldn't open " + shown, "No such file or directory.");
    if (std::filesystem::is_directory(status))
        throw InputError("isADirectory", path, "Couldn't open " + shown, "It is a directory, not a file.");
    std::ifstream probe(path, std::ios::binary);
    if (!probe) {
        const std::string reason = std::strerror(errno);
        throw InputError("fileNotReadable", path, "Couldn't read " + shown, reason + ".");
    }
    return Url::fileURL(path);
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

void useStandardErrorForLog() { ConsoleLog::setOutput(stderr); }

} // namespace lorvan::cli

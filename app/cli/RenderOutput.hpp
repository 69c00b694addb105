#pragma once

#include "core/LocalizedError.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lorvan::cli {

/// A render's output refused before anything is opened for writing.
class RenderOutputError : public LocalizedError {
public:
    RenderOutputError(std::string kind, std::string description, std::string reason);
    [[nodiscard]] std::string typeName() const override { return "RenderOutputError"; }
    [[nodiscard]] std::string kindName() const override { return kind_; }
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return description_; }
    [[nodiscard]] std::optional<std::string> failureReason() const override { return reason_; }

private:
    std::string kind_;
    std::string description_;
    std::string reason_;
};

/// Where a render writes so that no user file is ever lost: the audio goes into a temporary
/// file beside the target, which replaces the target only once the render has succeeded. On
/// failure, destruction, or SIGINT, SIGTERM, SIGHUP or SIGPIPE the temporary file is removed and
/// an existing target stays as it was; a signal then ends the process with 128 + its number.
/// One at a time per process; main thread (the signal handlers run on any thread).
class RenderOutput {
public:
    /// Refuses a `target` that is the same file as one of `inputs` (device and inode, after
    /// following links) with `RenderOutputError` "sameFileAsInput", then creates the temporary
    /// file and installs the signal handlers. Throws `RenderOutputError` "cannotCreate" when the
    /// target's folder cannot take the temporary file.
    RenderOutput(std::filesystem::path target, const std::vector<std::filesystem::path>& inputs);
    ~RenderOutput();
    RenderOutput(const RenderOutput&) = delete;
    RenderOutput& operator=(const RenderOutput&) = delete;

    /// The file to write to.
    [[nodiscard]] const std::filesystem::path& temporaryPath() const { return temporary_; }
    /// Moves the finished temporary file over the target. Throws `RenderOutputError`
    /// "cannotReplace" (the temporary file is then removed).
    void commit();

private:
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    bool committed_ = false;
};

} // namespace lorvan::cli

#pragma once

#include <source_location>
#include <string>

namespace lorvan {

/// The place in the source where an error was detected, stamped from the call site.
struct IKErrorLocation {
    std::string codeFilePath;
    long codeFileLine = 0;

    /// The caller's own file and line.
    [[nodiscard]] static IKErrorLocation here(std::source_location at = std::source_location::current());

    /// "<" + last path component + ":" + line as "%04d" + ">".
    [[nodiscard]] std::string description() const;

    friend bool operator==(const IKErrorLocation&, const IKErrorLocation&) = default;
};

} // namespace lorvan

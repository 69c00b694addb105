#pragma once

#include "core/SourceLocation.hpp"

#include <string>

namespace lorvan {

/// The place in the source where an error was detected, stamped from the call site.
struct IKErrorLocation {
    std::string codeFilePath;
    long codeFileLine = 0;

    /// The caller's own file and line.
    [[nodiscard]] static IKErrorLocation here(SourceLocation at = SourceLocation::current());

    /// "<" + last path component + ":" + line as "%04d" + ">".
    [[nodiscard]] std::string description() const;

    friend bool operator==(const IKErrorLocation&, const IKErrorLocation&) = default;
};

} // namespace lorvan

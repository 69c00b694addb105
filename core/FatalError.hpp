#pragma once

#include "core/SourceLocation.hpp"

#include <string_view>

namespace lorvan {

/// Stops the process after printing `message` and the call site to standard error.
/// Reserved for programming errors (an overflowing frame sum, a rate of zero): they must never
/// be turned into a wrapped value or a recoverable error. Safe to call from any thread.
[[noreturn]] void fatalError(std::string_view message, SourceLocation location = SourceLocation::current());

} // namespace lorvan

#pragma once

#include <optional>
#include <string>

namespace lorvan::cli {

/// A finite number for an option, or a usage message.
[[nodiscard]] std::optional<std::string> checkFinite(const std::string& option, float value);

} // namespace lorvan::cli

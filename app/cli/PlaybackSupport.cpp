#include "PlaybackSupport.hpp"

#include <cmath>

namespace lorvan::cli {

std::optional<std::string> checkFinite(const std::string& option, float value) {
    if (std::isfinite(value)) return std::nullopt;
    return option + ": a finite number is needed";
}

} // namespace lorvan::cli

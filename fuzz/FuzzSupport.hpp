#pragma once

#include "core/LocalizedError.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace lorvan::fuzz {

/// Stops the run with a report when an invariant does not hold; libFuzzer keeps the input.
inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
    std::abort();
}

/// A refusal must come with the texts the user is shown.
inline void requireTexts(const LocalizedError& error) {
    const auto description = error.errorDescription();
    require(description && !description->empty(), "a refusal without its description");
    require(!error.kindName().empty(), "a refusal without its kind");
}

/// A folder of this process's own under the temporary directory, removed at exit.
std::filesystem::path privateDirectory(const char* prefix);

} // namespace lorvan::fuzz

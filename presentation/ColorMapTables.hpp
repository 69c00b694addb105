#pragma once

#include <array>

namespace lorvan::colormaptables {

// Published 256-entry tables (CC0, see ColorMapTables.cpp), lowest level first.
extern const std::array<std::array<double, 3>, 256> magma;
extern const std::array<std::array<double, 3>, 256> inferno;
extern const std::array<std::array<double, 3>, 256> plasma;
extern const std::array<std::array<double, 3>, 256> viridis;

} // namespace lorvan::colormaptables

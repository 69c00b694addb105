#include "presentation/DisplayFont.hpp"

#include "core/FatalError.hpp"

#include <cmath>
#include <utility>

namespace lorvan {

DisplayFont::DisplayFont(std::string name, long characterWidthInPixel, long characterHeightInPixel,
                         double unitSize)
    : name_(std::move(name))
    , characterWidthInPixel_(characterWidthInPixel)
    , characterHeightInPixel_(characterHeightInPixel)
    , unitSize_(unitSize) {
    if (characterWidthInPixel <= 0 || characterHeightInPixel <= 0 || !std::isfinite(unitSize) ||
        unitSize <= 0)
        fatalError("a display font needs positive cell sizes and unit size");
}

std::shared_ptr<const DisplayFont> DisplayFont::defaultFont() {
    static const auto font = std::make_shared<const DisplayFont>(defaultName, 9, 16, 8.0);
    return font;
}

} // namespace lorvan

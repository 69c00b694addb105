#pragma once

#include <memory>
#include <string>

namespace lorvan {

/// A bitmap-style font whose every pixel becomes one matrix dot of the display. Shared by
/// reference: every display view holds the same instance.
class DisplayFont {
public:
    /// The font of the matrix texts: 9 × 16 cells, drawn at 8 points per font pixel unit.
    static constexpr const char* defaultName = "PxPlus_IBM_VGA_9x16_Lorvan";
    /// The face of the other display texts (the large seven-segment digits).
    static constexpr const char* lcdFontName = "LorvanLCD-Regular";

    DisplayFont(std::string name, long characterWidthInPixel, long characterHeightInPixel, double unitSize);

    /// The shared default font.
    [[nodiscard]] static std::shared_ptr<const DisplayFont> defaultFont();

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] long characterWidthInPixel() const { return characterWidthInPixel_; }
    [[nodiscard]] long characterHeightInPixel() const { return characterHeightInPixel_; }
    [[nodiscard]] double unitSize() const { return unitSize_; }

private:
    std::string name_;
    long characterWidthInPixel_;
    long characterHeightInPixel_;
    double unitSize_;
};

} // namespace lorvan

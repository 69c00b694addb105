#pragma once

#include <string>
#include <vector>

namespace lorvan {

/// What the display shows, as plain values: the renderer draws it, the view model fills it.
struct DisplayState {
    std::string statusLeft;  // e.g. "TRACK 02"
    std::string statusRight; // e.g. "INDEX 01"
    std::string time;        // large seven-segment digits, e.g. "-0:02"
    std::string timeLabel;   // beside the digits, e.g. "PREGAP"
    std::string title;
    std::string subtitle;
    double progress = 0;            // cursor position, 0...1 of the disc or track
    std::vector<double> cueMarkers; // 0...1, where the navigator's markers stand
    double levelLeft = 0;           // 0...1
    double levelRight = 0;          // 0...1
    double buffering = 0;           // 0...1 of the read-ahead

    /// A typical moment: the pregap before track 2, a title that needs more than ASCII, both
    /// meters and the read-ahead busy. Previews and the benchmark draw it.
    [[nodiscard]] static DisplayState typical();

    friend bool operator==(const DisplayState&, const DisplayState&) = default;
};

} // namespace lorvan

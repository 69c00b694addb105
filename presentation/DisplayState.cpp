#include "presentation/DisplayState.hpp"

namespace lorvan {

DisplayState DisplayState::typical() {
    DisplayState state;
    state.statusLeft = "TRACK 02";
    state.statusRight = "INDEX 00"; // a pregap is index 0 of the track it leads into
    state.time = "-0:02";
    state.timeLabel = "PREGAP";
    state.title = "Caf\u00E9 No\u00EBl \u2014 \u6771\u4EAC\u306E\u591C";
    state.subtitle = "Zo\u00EB Bront\u00EB & \u5742\u672C \u00B7 L\u00E0-bas";
    state.progress = 0.235;
    state.cueMarkers = {0.0, 0.24, 0.41, 0.63, 0.82};
    state.levelLeft = 0.35;
    state.levelRight = 0.8;
    state.buffering = 0.7;
    return state;
}

} // namespace lorvan

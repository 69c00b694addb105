#include "disc/AudioDiscOnlineDataBaseID.hpp"

#include "core/Checked.hpp"
#include "core/CompactDisc.hpp"
#include "core/FatalError.hpp"

#include <algorithm>
#include <cstdio>

namespace lorvan {
namespace {

std::int64_t digitSum(std::int64_t n) {
    std::int64_t sum = 0;
    for (; n > 0; n /= 10)
        sum += n % 10;
    return sum;
}

std::uint32_t fitting(std::int64_t value) {
    if (value < 0 || value > static_cast<std::int64_t>(UINT32_MAX))
        fatalError("disc identifier beyond 32 bits");
    return static_cast<std::uint32_t>(value);
}

std::string hex(const char* format, std::int64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, format, static_cast<unsigned long long>(value));
    return text;
}

} // namespace

std::string AudioDiscOnlineDataBaseID::musicBrainzText(const Layout& layout) {
    const auto tracks = static_cast<std::int64_t>(layout.trackStartFrames.size());
    std::string text = hex("%02llX", 1) + hex("%02llX", tracks);
    text += hex("%08llX", checkedAdd(layout.discEndFrame / cdda::framesPerSector, cdda::leadInSectors));
    for (std::int64_t slot = 0; slot < 99; ++slot) {
        const std::int64_t offset =
            slot < tracks
                ? checkedAdd(layout.trackStartFrames[static_cast<std::size_t>(slot)] / cdda::framesPerSector,
                             cdda::leadInSectors)
                : 0;
        text += hex("%08llX", offset);
    }
    return text;
}

std::string AudioDiscOnlineDataBaseID::musicBrainzEncoding(std::string base64) {
    std::replace(base64.begin(), base64.end(), '+', '.');
    std::replace(base64.begin(), base64.end(), '/', '_');
    std::replace(base64.begin(), base64.end(), '=', '-');
    return base64;
}

AudioDiscOnlineDataBaseID
AudioDiscOnlineDataBaseID::compute(const Layout& layout,
                                   const std::function<std::string(std::string_view)>& sha1Base64) {
    if (layout.trackStartFrames.empty()) fatalError("disc identifiers of a disc without tracks");
    const auto tracks = static_cast<std::int64_t>(layout.trackStartFrames.size());
    const std::int64_t end = layout.discEndFrame;
    const std::int64_t leadOut = end / cdda::framesPerSector;

    std::int64_t digits = 0;
    std::int64_t arV1 = 0;
    std::int64_t arV2 = 0;
    for (std::int64_t i = 0; i < tracks; ++i) {
        const std::int64_t start = layout.trackStartFrames[static_cast<std::size_t>(i)];
        digits = checkedAdd(digits, digitSum(start / cdda::framesPerSecond + 2));
        const std::int64_t offset = start / cdda::framesPerSector;
        arV1 = checkedAdd(arV1, offset);
        arV2 = checkedAdd(arV2, checkedMultiply(std::max<std::int64_t>(offset, 1), i + 1));
    }
    arV1 = checkedAdd(arV1, leadOut);
    arV2 = checkedAdd(arV2, checkedMultiply(std::max<std::int64_t>(leadOut, 1), tracks + 1));

    const std::int64_t playing =
        layout.firstTrackStartsWithPregap
            ? checkedSubtract(end, layout.trackStartFrames.front()) / cdda::framesPerSecond
            : end / cdda::framesPerSecond;
    // 255 and 65535, not 256 and 65536: the identifiers in the wild are computed this way.
    const std::int64_t cddb = ((digits % 255) << 24) | ((playing % 65535) << 8) | (tracks % 255);

    AudioDiscOnlineDataBaseID id;
    id.musicBrainz = musicBrainzEncoding(sha1Base64(musicBrainzText(layout)));
    id.arV1Value = fitting(arV1);
    id.arV2Value = fitting(arV2);
    id.cddbValue = fitting(cddb);
    return id;
}

} // namespace lorvan

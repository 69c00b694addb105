#pragma once

#include "cuesheet/AudioMetadata.hpp"
#include "cuesheet/CueSheet.hpp"

#include <nlohmann/json.hpp>

namespace lorvan {

// JSON coding with the field names as keys: sets as arrays, enumerations by their display
// text, UUIDs as strings, URLs as URL strings, absent optionals omitted. Decoding a document
// that was not made by the encoder throws nlohmann::json::exception.

void to_json(nlohmann::json& json, const AudioDiscDate& date);
void from_json(const nlohmann::json& json, AudioDiscDate& date);
void to_json(nlohmann::json& json, const AudioTrackMetadata& metadata);
void from_json(const nlohmann::json& json, AudioTrackMetadata& metadata);
void to_json(nlohmann::json& json, const AudioMetadata& metadata);
void from_json(const nlohmann::json& json, AudioMetadata& metadata);
void to_json(nlohmann::json& json, const CueSheetChapter& chapter);
void from_json(const nlohmann::json& json, CueSheetChapter& chapter);
void to_json(nlohmann::json& json, const CueSheetTrack& track);
void from_json(const nlohmann::json& json, CueSheetTrack& track);
void to_json(nlohmann::json& json, const CueSheet& sheet);
void from_json(const nlohmann::json& json, CueSheet& sheet);

} // namespace lorvan

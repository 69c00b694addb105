#include "cuesheet/CueSheetJson.hpp"

namespace lorvan {
namespace {

using nlohmann::json;

template <typename T> void put(json& object, const char* key, const std::optional<T>& value) {
    if (value) object[key] = *value;
}

template <typename T> void get(const json& object, const char* key, std::optional<T>& value) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null())
        value.reset();
    else
        value = found->template get<T>();
}

Uuid uuidFrom(const json& value) {
    auto uuid = Uuid::parse(value.get<std::string>());
    if (!uuid) throw json::other_error::create(501, "not a UUID: " + value.get<std::string>(), &value);
    return *uuid;
}

} // namespace

void to_json(json& out, const AudioDiscDate& date) {
    json components{{"calendar", date.components.calendar},
                    {"timeZone", date.components.timeZone},
                    {"year", date.components.year}};
    put(components, "month", date.components.month);
    put(components, "day", date.components.day);
    out = json{{"components", components}};
}

void from_json(const json& in, AudioDiscDate& date) {
    const json& components = in.at("components");
    date.components.calendar = components.value("calendar", std::string("gregorian"));
    date.components.timeZone = components.value("timeZone", std::string("UTC"));
    date.components.year = components.at("year").get<int>();
    get(components, "month", date.components.month);
    get(components, "day", date.components.day);
}

void to_json(json& out, const AudioTrackMetadata& m) {
    out = json::object();
    put(out, "isrc", m.isrc);
    put(out, "title", m.title);
    put(out, "subtitle", m.subtitle);
    put(out, "chaptersTitle", m.chaptersTitle);
    put(out, "gain", m.gain);
    put(out, "peak", m.peak);
    put(out, "performers", m.performers);
    put(out, "featuring", m.featuring);
    put(out, "composers", m.composers);
    put(out, "conductors", m.conductors);
    put(out, "remixers", m.remixers);
}

void from_json(const json& in, AudioTrackMetadata& m) {
    get(in, "isrc", m.isrc);
    get(in, "title", m.title);
    get(in, "subtitle", m.subtitle);
    get(in, "chaptersTitle", m.chaptersTitle);
    get(in, "gain", m.gain);
    get(in, "peak", m.peak);
    get(in, "performers", m.performers);
    get(in, "featuring", m.featuring);
    get(in, "composers", m.composers);
    get(in, "conductors", m.conductors);
    get(in, "remixers", m.remixers);
}

void to_json(json& out, const AudioMetadata& m) {
    out = json::object();
    put(out, "SIDMasteringCode", m.SIDMasteringCode);
    put(out, "SIDMouldCode", m.SIDMouldCode);
    put(out, "recordLabel", m.recordLabel);
    put(out, "catalogueNumber", m.catalogueNumber);
    put(out, "barcode", m.barcode);
    put(out, "initialDate", m.initialDate);
    put(out, "editionDate", m.editionDate);
    if (m.releaseType) out["releaseType"] = displayText(*m.releaseType);
    put(out, "releaseTitle", m.releaseTitle);
    put(out, "releaseSubtitle", m.releaseSubtitle);
    put(out, "releasePerformers", m.releasePerformers);
    put(out, "releaseFeaturing", m.releaseFeaturing);
    put(out, "releaseComposers", m.releaseComposers);
    put(out, "releaseConductors", m.releaseConductors);
    put(out, "releaseRemixers", m.releaseRemixers);
    put(out, "discNumber", m.discNumber);
    put(out, "totalDiscs", m.totalDiscs);
    put(out, "discTitle", m.discTitle);
    put(out, "discGain", m.discGain);
    put(out, "discPeak", m.discPeak);
    put(out, "tracksMetadata", m.tracksMetadata);
    put(out, "firstBonusTrackIndex", m.firstBonusTrackIndex);
    put(out, "firstExtraTrackIndex", m.firstExtraTrackIndex);
}

void from_json(const json& in, AudioMetadata& m) {
    get(in, "SIDMasteringCode", m.SIDMasteringCode);
    get(in, "SIDMouldCode", m.SIDMouldCode);
    get(in, "recordLabel", m.recordLabel);
    get(in, "catalogueNumber", m.catalogueNumber);
    get(in, "barcode", m.barcode);
    get(in, "initialDate", m.initialDate);
    get(in, "editionDate", m.editionDate);
    m.releaseType.reset();
    if (const auto found = in.find("releaseType"); found != in.end() && !found->is_null()) {
        m.releaseType = releaseTypeFromDisplayText(found->get<std::string>());
        if (!m.releaseType)
            throw json::other_error::create(501, "unknown release type: " + found->get<std::string>(),
                                            &*found);
    }
    get(in, "releaseTitle", m.releaseTitle);
    get(in, "releaseSubtitle", m.releaseSubtitle);
    get(in, "releasePerformers", m.releasePerformers);
    get(in, "releaseFeaturing", m.releaseFeaturing);
    get(in, "releaseComposers", m.releaseComposers);
    get(in, "releaseConductors", m.releaseConductors);
    get(in, "releaseRemixers", m.releaseRemixers);
    get(in, "discNumber", m.discNumber);
    get(in, "totalDiscs", m.totalDiscs);
    get(in, "discTitle", m.discTitle);
    get(in, "discGain", m.discGain);
    get(in, "discPeak", m.discPeak);
    get(in, "tracksMetadata", m.tracksMetadata);
    get(in, "firstBonusTrackIndex", m.firstBonusTrackIndex);
    get(in, "firstExtraTrackIndex", m.firstExtraTrackIndex);
}

void to_json(json& out, const CueSheetChapter& chapter) {
    out = json{
        {"index", chapter.index}, {"audioFileIndex", chapter.audioFileIndex}, {"position", chapter.position}};
}

void from_json(const json& in, CueSheetChapter& chapter) {
    in.at("index").get_to(chapter.index);
    in.at("audioFileIndex").get_to(chapter.audioFileIndex);
    in.at("position").get_to(chapter.position);
}

void to_json(json& out, const CueSheetTrack& track) {
    out = json{{"id", track.id.uuidString()}, {"index", track.index}, {"chapters", track.chapters}};
    put(out, "fakePregap", track.fakePregap);
    put(out, "fakePostgap", track.fakePostgap);
}

void from_json(const json& in, CueSheetTrack& track) {
    track.id = uuidFrom(in.at("id"));
    in.at("index").get_to(track.index);
    in.at("chapters").get_to(track.chapters);
    get(in, "fakePregap", track.fakePregap);
    get(in, "fakePostgap", track.fakePostgap);
}

void to_json(json& out, const CueSheet& sheet) {
    out = json{{"id", sheet.id.uuidString()},
               {"url", sheet.url.absoluteString()},
               {"contents", sheet.contents},
               {"filenames", sheet.filenames},
               {"tracks", sheet.tracks}};
    put(out, "metadata", sheet.metadata);
}

void from_json(const json& in, CueSheet& sheet) {
    sheet.id = uuidFrom(in.at("id"));
    const auto urlText = in.at("url").get<std::string>();
    const auto url = Url::parse(urlText);
    if (!url) throw json::other_error::create(501, "not a URL: " + urlText, &in.at("url"));
    sheet.url = *url;
    in.at("contents").get_to(sheet.contents);
    in.at("filenames").get_to(sheet.filenames);
    in.at("tracks").get_to(sheet.tracks);
    get(in, "metadata", sheet.metadata);
}

} // namespace lorvan

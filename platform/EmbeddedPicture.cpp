#include "platform/EmbeddedPicture.hpp"

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/wavfile.h>

namespace lorvan::platform {

namespace {

std::string bytesOf(const TagLib::ByteVector& data) {
    return {data.data(), data.size()};
}

/// Tags often leave the type empty or write "PNG"; the first bytes say what the picture is.
std::string mimeType(const std::string& declared, const std::string& bytes) {
    if (bytes.rfind("\x89PNG", 0) == 0) return "image/png";
    if (bytes.rfind("\xFF\xD8\xFF", 0) == 0) return "image/jpeg";
    if (bytes.rfind("GIF8", 0) == 0) return "image/gif";
    if (bytes.size() > 12 && bytes.compare(0, 4, "RIFF") == 0 && bytes.compare(8, 4, "WEBP") == 0)
        return "image/webp";
    return declared;
}

std::optional<EmbeddedPicture> picture(const std::string& declared, const TagLib::ByteVector& data) {
    if (data.isEmpty()) return std::nullopt;
    std::string bytes = bytesOf(data);
    return EmbeddedPicture{mimeType(declared, bytes), std::move(bytes)};
}

std::optional<EmbeddedPicture> fromID3v2(TagLib::ID3v2::Tag* tag) {
    if (tag == nullptr) return std::nullopt;
    const TagLib::ID3v2::FrameList& frames = tag->frameListMap()["APIC"];
    const TagLib::ID3v2::AttachedPictureFrame* chosen = nullptr;
    for (TagLib::ID3v2::Frame* frame : frames) {
        const auto* attached = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame);
        if (attached == nullptr) continue;
        if (chosen == nullptr || attached->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover) {
            chosen = attached;
            if (attached->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover) break;
        }
    }
    if (chosen == nullptr) return std::nullopt;
    return picture(chosen->mimeType().to8Bit(true), chosen->picture());
}

} // namespace

std::optional<EmbeddedPicture> readEmbeddedPicture(const std::filesystem::path& path) {
    // Opened without reading the audio properties: only the tags are wanted.
    const TagLib::FileRef reference(path.c_str(), false);
    TagLib::File* file = reference.file();
    if (file == nullptr || !file->isValid()) return std::nullopt;

    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(file)) {
        const TagLib::List<TagLib::FLAC::Picture*> pictures = flac->pictureList();
        const TagLib::FLAC::Picture* chosen = nullptr;
        for (const TagLib::FLAC::Picture* candidate : pictures) {
            if (chosen == nullptr) chosen = candidate;
            if (candidate->type() == TagLib::FLAC::Picture::FrontCover) {
                chosen = candidate;
                break;
            }
        }
        if (chosen != nullptr) return picture(chosen->mimeType().to8Bit(true), chosen->data());
        return fromID3v2(flac->hasID3v2Tag() ? flac->ID3v2Tag() : nullptr);
    }
    if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(file))
        return fromID3v2(mpeg->hasID3v2Tag() ? mpeg->ID3v2Tag() : nullptr);
    if (auto* wave = dynamic_cast<TagLib::RIFF::WAV::File*>(file))
        return fromID3v2(wave->hasID3v2Tag() ? wave->ID3v2Tag() : nullptr);
    if (auto* aiff = dynamic_cast<TagLib::RIFF::AIFF::File*>(file))
        return fromID3v2(aiff->hasID3v2Tag() ? aiff->tag() : nullptr);
    if (auto* mp4 = dynamic_cast<TagLib::MP4::File*>(file)) {
        TagLib::MP4::Tag* tag = mp4->tag();
        if (tag == nullptr || !tag->contains("covr")) return std::nullopt;
        const TagLib::MP4::CoverArtList covers = tag->item("covr").toCoverArtList();
        if (covers.isEmpty()) return std::nullopt;
        const TagLib::MP4::CoverArt& cover = covers.front();
        const char* declared = cover.format() == TagLib::MP4::CoverArt::PNG    ? "image/png"
                               : cover.format() == TagLib::MP4::CoverArt::JPEG ? "image/jpeg"
                                                                               : "";
        return picture(declared, cover.data());
    }
    return std::nullopt;
}

} // namespace lorvan::platform

// Any bytes as an audio file under each extension Lorvan opens, through the platform's opener:
// every frame read front to back, then reads from pseudo-random positions. A refusal is an
// `LKOSStatus` with its texts; crashes, hangs, leaks, sanitizer reports, other exceptions and
// reads that break the file's contract are finds.
#include "core/ConsoleLog.hpp"
#include "disc/LKOSStatus.hpp"
#include "disc/PCMBuffer.hpp"
#include "fuzz/FuzzFixtures.hpp"
#include "fuzz/FuzzSupport.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <cstdint>
#include <fstream>
#include <span>
#include <string>

namespace {

using lorvan::fuzz::require;

void readEveryFrame(lorvan::AudioFile& file, lorvan::PCMBuffer& buffer) {
    std::int64_t total = 0;
    file.setFramePosition(0);
    while (file.framePosition() < file.length()) {
        const std::int64_t before = file.framePosition();
        file.read(buffer, buffer.frameCapacity());
        require(buffer.frameLength() > 0, "a read before the end returned no frames");
        require(file.framePosition() == before + buffer.frameLength(), "a read moved the position wrongly");
        total += buffer.frameLength();
    }
    require(total == file.length(), "the frames read differ from the length");
    file.read(buffer, buffer.frameCapacity());
    require(buffer.frameLength() == 0, "a read at the end returned frames");
}

void readAtRandomPositions(lorvan::AudioFile& file, lorvan::PCMBuffer& buffer, std::uint64_t seed) {
    const std::int64_t length = file.length();
    for (int i = 0; i < 6; ++i) {
        seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
        // Positions from just before the start to just past the end: clamping is part of the contract.
        const std::int64_t position =
            static_cast<std::int64_t>((seed >> 16) % static_cast<std::uint64_t>(length + 3)) - 1;
        const auto count = static_cast<std::uint32_t>((seed >> 40) % (buffer.frameCapacity() + 1));
        file.setFramePosition(position);
        const std::int64_t start = file.framePosition();
        require(start >= 0 && start <= length, "a position outside the file was not clamped");
        file.read(buffer, count);
        const std::int64_t expected = std::min<std::int64_t>(count, length - start);
        require(buffer.frameLength() == expected, "a read returned a short buffer before the end");
        require(file.framePosition() == start + expected, "a read moved the position wrongly");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool silenced = (lorvan::ConsoleLog::discard(), true);
    (void)silenced;
    static const lorvan::AudioDiscServices services = lorvan::platform::audioDiscServices();
    static const std::filesystem::path directory = lorvan::fuzz::privateDirectory("lorvan-audiofile-fuzz");

    const std::span<const std::uint8_t> input(data, size);
    const std::filesystem::path path =
        directory / ("input." + std::string(lorvan::fuzz::audioExtensionOf(input)));
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        if (size > 1)
            out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
        require(static_cast<bool>(out), "cannot write the input file");
    }
    try {
        const auto file = services.openAudioFile(lorvan::Url::fileURL(path));
        require(file != nullptr, "the opener returned no file");
        require(file->length() >= 0, "a negative length");
        require(file->processingFormat().sampleRate > 0 && file->processingFormat().channelsPerFrame > 0,
                "a processing format without rate or channels");
        lorvan::PCMBuffer buffer(file->processingFormat(), 4096);
        readEveryFrame(*file, buffer);
        std::uint64_t seed = size;
        for (std::size_t i = 0; i < size; i += 97)
            seed = seed * 31 + data[i];
        readAtRandomPositions(*file, buffer, seed);
    } catch (const lorvan::LKOSStatus& status) {
        lorvan::fuzz::requireTexts(status);
        require(status.rawValue != 0, "a refusal with status 0");
        require(status.failureReason().has_value(), "a refusal without its failure reason");
    }
    return 0;
}

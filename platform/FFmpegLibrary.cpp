#include "platform/FFmpegLibrary.hpp"

#include "core/FatalError.hpp"
#include "core/LogEntry.hpp"
#include "disc/LKOSStatus.hpp"

#include <array>
#include <dlfcn.h>
#include <optional>
#include <string>

namespace lorvan::platform::ffmpeg {
namespace {

/// The libraries of the FFmpeg these headers come from; a library of another major version
/// would not match them.
std::array<std::string, 4> libraryNames() {
    const auto name = [](const char* library, int major) {
#ifdef LORVAN_FFMPEG_LIBRARY_DIR
        return std::string(LORVAN_FFMPEG_LIBRARY_DIR "/lib") + library + ".so." + std::to_string(major);
#else
        return std::string("lib") + library + ".so." + std::to_string(major);
#endif
    };
    return {name("avutil", LIBAVUTIL_VERSION_MAJOR), name("swresample", LIBSWRESAMPLE_VERSION_MAJOR),
            name("avcodec", LIBAVCODEC_VERSION_MAJOR), name("avformat", LIBAVFORMAT_VERSION_MAJOR)};
}

std::string description(std::int32_t raw) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    if (functions().av_strerror(raw, text.data(), text.size()) < 0)
        return "Unknown error " + std::to_string(raw);
    return text.data();
}

/// Demuxers allocate what a file's headers claim before reading it: a damaged WAVE whose INFO
/// tag claimed 1.2 GB made FFmpeg allocate and clear 1.2 GB, for half a minute, to refuse a
/// 160-byte file. No buffer of a playable file comes near this bound (decoded frames are
/// kilobytes, the largest thing is an embedded picture); past it, opening fails with ENOMEM.
constexpr std::size_t maximumAllocation = std::size_t{256} << 20;

/// The functions, or why they could not be found.
struct Loaded {
    std::optional<Functions> functions;
    std::string failure;
};

Loaded loadLibraries() {
    Loaded loaded;
    std::array<void*, 4> handles{};
    const auto names = libraryNames();
    for (std::size_t i = 0; i < names.size(); ++i) {
        // Never closed: FFmpeg's state lives as long as the process.
        handles[i] = dlopen(names[i].c_str(), RTLD_NOW | RTLD_LOCAL);
        if (handles[i] == nullptr) {
            const char* reason = dlerror();
            loaded.failure = reason != nullptr ? reason : names[i] + " could not be loaded";
            return loaded;
        }
    }
    const auto find = [&](const char* name) -> void* {
        for (void* handle : handles)
            if (void* symbol = dlsym(handle, name)) return symbol;
        loaded.failure = std::string("FFmpeg has no function ") + name;
        return nullptr;
    };
    Functions functions;
#define LORVAN_FFMPEG_FIND(name) functions.name = reinterpret_cast<decltype(functions.name)>(find(#name));
    LORVAN_FFMPEG_FUNCTIONS(LORVAN_FFMPEG_FIND)
#undef LORVAN_FFMPEG_FIND
    if (loaded.failure.empty()) loaded.functions = functions;
    return loaded;
}

const Loaded& loaded() {
    static const Loaded libraries = [] {
        Loaded result = loadLibraries();
        if (!result.functions) {
            LogEntry::warning("FFmpeg could not be loaded, so no audio file can be read or written: " +
                              result.failure)
                .print();
            return result;
        }
        // Decoders complain about damaged files on standard error; Lorvan reports them itself.
        result.functions->av_log_set_level(AV_LOG_FATAL);
        result.functions->av_max_alloc(maximumAllocation);
        LKOSStatus::setDescriptionProvider(&description);
        return result;
    }();
    return libraries;
}

} // namespace

int load() {
    return loaded().functions ? 0 : AVERROR(ENOSYS);
}

const Functions& functions() {
    const Loaded& libraries = loaded();
    if (!libraries.functions) fatalError("FFmpeg is used although it could not be loaded");
    return *libraries.functions;
}

} // namespace lorvan::platform::ffmpeg

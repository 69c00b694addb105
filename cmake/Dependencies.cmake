# Every third-party library comes from Debian's packages (scripts/bootstrap installs them).
find_package(PkgConfig REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(nlohmann_json 3.11 REQUIRED)

# Only platform/ and app/ may link these.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui Widgets)
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
# Debian's FFmpeg is built for every video codec and network protocol and maps about 150 libraries
# into each process. Whoever wants a lean build can configure FFmpeg for audio alone (the FLAC,
# WAVE, AIFF, MOV and MP3 demuxers and decoders, and the writers render and the tests use), install
# it anywhere and point LORVAN_FFMPEG_PREFIX at it; by default the system's FFmpeg is used.
set(LORVAN_FFMPEG_PREFIX "" CACHE PATH "Prefix of another FFmpeg build to use instead of the system's")
if(LORVAN_FFMPEG_PREFIX)
    list(PREPEND CMAKE_PREFIX_PATH "${LORVAN_FFMPEG_PREFIX}")
endif()
pkg_check_modules(AUDIO_FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
if(LORVAN_FFMPEG_PREFIX AND NOT AUDIO_FFMPEG_libavcodec_PREFIX STREQUAL LORVAN_FFMPEG_PREFIX)
    message(FATAL_ERROR "LORVAN_FFMPEG_PREFIX is ${LORVAN_FFMPEG_PREFIX}, but pkg-config found FFmpeg in "
                        "${AUDIO_FFMPEG_libavcodec_PREFIX}: is lib/pkgconfig there?")
endif()
pkg_check_modules(TAGLIB REQUIRED IMPORTED_TARGET taglib)
pkg_check_modules(PORTAUDIO REQUIRED IMPORTED_TARGET portaudio-2.0)
pkg_check_modules(AUDIOHOSTS REQUIRED IMPORTED_TARGET alsa jack)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)

if(LORVAN_APPS)
    find_package(CLI11 REQUIRED)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Widgets Svg DBus)
endif()

if(LORVAN_TESTS)
    find_package(GTest REQUIRED)
    include(GoogleTest)
    if(LORVAN_APPS)
        find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
    endif()
endif()

if(LORVAN_BENCH)
    find_package(benchmark REQUIRED)
endif()

# Every third-party library comes from Debian's packages (scripts/bootstrap installs them), except
# FFmpeg: bootstrap builds Debian's FFmpeg source for audio alone into LORVAN_FFMPEG_PREFIX, as the
# packaged build drags about 150 video and network libraries into every process that decodes.
find_package(PkgConfig REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(nlohmann_json 3.11 REQUIRED)

# Only platform/ and app/ may link these.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui)
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
set(LORVAN_FFMPEG_PREFIX /opt/lorvan/ffmpeg CACHE PATH "Where scripts/bootstrap installs the audio-only FFmpeg")
list(PREPEND CMAKE_PREFIX_PATH "${LORVAN_FFMPEG_PREFIX}")
pkg_check_modules(AUDIO_FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
if(NOT AUDIO_FFMPEG_libavcodec_PREFIX STREQUAL LORVAN_FFMPEG_PREFIX)
    message(WARNING "Using the FFmpeg in ${AUDIO_FFMPEG_libavcodec_PREFIX}: it works, but loads far more "
                    "libraries than Lorvan needs. Run scripts/bootstrap to build the audio-only one.")
endif()
pkg_check_modules(TAGLIB REQUIRED IMPORTED_TARGET taglib)
pkg_check_modules(PORTAUDIO REQUIRED IMPORTED_TARGET portaudio-2.0)
pkg_check_modules(AUDIOHOSTS REQUIRED IMPORTED_TARGET alsa jack)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)

if(LORVAN_APPS)
    find_package(CLI11 REQUIRED)
endif()

if(LORVAN_TESTS)
    find_package(GTest REQUIRED)
    include(GoogleTest)
endif()

if(LORVAN_BENCH)
    find_package(benchmark REQUIRED)
endif()

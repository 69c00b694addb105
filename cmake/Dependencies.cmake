# Every third-party library comes from Debian's packages (scripts/bootstrap installs them).
find_package(PkgConfig REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(nlohmann_json 3.11 REQUIRED)

# Only platform/ and app/ may link these.
find_package(Qt6 6.4 REQUIRED COMPONENTS Core Gui)
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
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

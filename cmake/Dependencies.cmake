# Every third-party library comes from Debian's packages (scripts/bootstrap installs them).
find_package(PkgConfig REQUIRED)
find_package(ICU 72 REQUIRED COMPONENTS uc i18n data)
find_package(nlohmann_json 3.11 REQUIRED)

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

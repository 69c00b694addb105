#include "fuzz/FuzzSupport.hpp"

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

namespace lorvan::fuzz {
namespace {

std::filesystem::path& createdDirectory() {
    static std::filesystem::path directory;
    return directory;
}

void removeCreatedDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(createdDirectory(), ignored);
}

} // namespace

std::filesystem::path privateDirectory(const char* prefix) {
    std::filesystem::path& directory = createdDirectory();
    if (!directory.empty()) return directory;
    std::string pattern = (std::filesystem::temp_directory_path() / prefix).string() + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create " + pattern);
    directory = pattern;
    std::atexit(removeCreatedDirectory);
    return directory;
}

} // namespace lorvan::fuzz

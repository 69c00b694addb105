#include "core/FatalError.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace lorvan {

void fatalError(std::string_view message, SourceLocation location) {
    std::string line = "Fatal error: ";
    line.append(message);
    line += " (";
    line += location.file_name();
    line += ':';
    line += std::to_string(location.line());
    line += ")\n";
    std::fflush(nullptr); // keep the console log that led here
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    std::abort();
}

} // namespace lorvan

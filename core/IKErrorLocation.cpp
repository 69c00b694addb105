#include "core/IKErrorLocation.hpp"

#include <cstdio>

namespace lorvan {

IKErrorLocation IKErrorLocation::here(SourceLocation at) {
    return {at.file_name(), static_cast<long>(at.line())};
}

std::string IKErrorLocation::description() const {
    const auto slash = codeFilePath.find_last_of('/');
    const std::string name = slash == std::string::npos ? codeFilePath : codeFilePath.substr(slash + 1);
    char number[32];
    std::snprintf(number, sizeof number, "%04ld", codeFileLine);
    return "<" + name + ":" + number + ">";
}

} // namespace lorvan

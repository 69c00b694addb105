#pragma once

#include <version>
#if defined(__cpp_lib_source_location)
#include <source_location>
#endif

namespace lorvan {

/// The call site of a function, taken from its default argument. Our own type because clang 14
/// (the fuzzing compiler) cannot build libstdc++'s std::source_location; it converts from one
/// where the standard library offers it.
class SourceLocation {
public:
    constexpr SourceLocation() = default;
    constexpr SourceLocation(const char* file, unsigned line, const char* function)
        : file_(file)
        , line_(line)
        , function_(function) {}
#if defined(__cpp_lib_source_location)
    constexpr SourceLocation(const std::source_location& location)
        : SourceLocation(location.file_name(), location.line(), location.function_name()) {}
#endif

    [[nodiscard]] static constexpr SourceLocation
    current(const char* file = __builtin_FILE(), unsigned line = __builtin_LINE(),
            const char* function = __builtin_FUNCTION()) noexcept {
        return {file, line, function};
    }

    [[nodiscard]] constexpr const char* file_name() const {
        return file_;
    }
    [[nodiscard]] constexpr unsigned line() const {
        return line_;
    }
    [[nodiscard]] constexpr const char* function_name() const {
        return function_;
    }

private:
    const char* file_ = "";
    unsigned line_ = 0;
    const char* function_ = "";
};

} // namespace lorvan

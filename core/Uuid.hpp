#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// A random (version 4) identifier, written as 36 upper-case hexadecimal characters with dashes.
class Uuid {
public:
    /// A fresh random identifier. Thread-safe.
    [[nodiscard]] static Uuid random();
    [[nodiscard]] static std::optional<Uuid> parse(std::string_view text);

    [[nodiscard]] std::string uuidString() const;
    [[nodiscard]] const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace lorvan

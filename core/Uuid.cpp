#include "core/Uuid.hpp"

#include <random>

namespace lorvan {

Uuid Uuid::random() {
    thread_local std::mt19937_64 generator{[] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }()};
    Uuid uuid;
    for (std::size_t i = 0; i < 16; i += 8) {
        const std::uint64_t bits = generator();
        for (std::size_t j = 0; j < 8; ++j)
            uuid.bytes_[i + j] = static_cast<std::uint8_t>(bits >> (8 * j));
    }
    uuid.bytes_[6] = static_cast<std::uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40);
    uuid.bytes_[8] = static_cast<std::uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80);
    return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    Uuid uuid;
    std::size_t byte = 0;
    for (std::size_t i = 0; i < 36;) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') return std::nullopt;
            ++i;
            continue;
        }
        int nibbles[2];
        for (int k = 0; k < 2; ++k, ++i) {
            const char c = text[i];
            nibbles[k] = c >= '0' && c <= '9'   ? c - '0'
                         : c >= 'a' && c <= 'f' ? c - 'a' + 10
                         : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                : -1;
            if (nibbles[k] < 0) return std::nullopt;
        }
        uuid.bytes_[byte++] = static_cast<std::uint8_t>(nibbles[0] * 16 + nibbles[1]);
    }
    return uuid;
}

std::string Uuid::uuidString() const {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += hex[bytes_[i] >> 4];
        text += hex[bytes_[i] & 15];
    }
    return text;
}

} // namespace lorvan

#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// The user's persisted preferences: text values under string keys ("selectedTheme",
/// "selectedRepeatMode", ...). Implementations write through, so a value set is there for the
/// next run. Main thread only: neither the interface nor its implementations are thread-safe.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The text stored under `key`, or nothing when the key was never set.
    [[nodiscard]] virtual std::optional<std::string> string(std::string_view key) const = 0;
    virtual void setString(std::string_view key, const std::string& value) = 0;
};

/// A store that forgets everything when it goes: for tests and for runs that must not touch
/// the user's files.
class InMemoryUserDefaults final : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override {
        const auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
    }
    void setString(std::string_view key, const std::string& value) override {
        values_[std::string(key)] = value;
    }

private:
    std::map<std::string, std::string, std::less<>> values_;
};

} // namespace lorvan

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace lorvan {

/// A value that tells its observers each time it is set: the display views subscribe to the
/// settings they draw from and redraw when one changes. Observers run synchronously, in the
/// order they subscribed, after the value has changed. Main thread only.
template <typename T> class Published {
public:
    using Observer = std::function<void(const T&)>;

    /// Keeps an observer subscribed while it lives; safe to outlive the value it observes.
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&&) noexcept = default;
        Subscription& operator=(Subscription&& other) noexcept {
            cancel();
            observers_ = std::move(other.observers_);
            id_ = other.id_;
            return *this;
        }
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription() { cancel(); }

        void cancel() {
            if (auto observers = observers_.lock()) observers->erase(id_);
            observers_.reset();
        }

    private:
        friend class Published;
        Subscription(std::weak_ptr<std::map<std::uint64_t, Observer>> observers, std::uint64_t id)
            : observers_(std::move(observers))
            , id_(id) {}

        std::weak_ptr<std::map<std::uint64_t, Observer>> observers_;
        std::uint64_t id_ = 0;
    };

    explicit Published(T initial)
        : value_(std::move(initial)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;

    [[nodiscard]] const T& value() const { return value_; }

    /// Stores `newValue` and notifies every observer, even when it equals the old value.
    void set(T newValue) {
        value_ = std::move(newValue);
        // A copy, so that an observer may subscribe or cancel while being notified.
        const auto observers = *observers_;
        for (const auto& [id, observer] : observers)
            observer(value_);
    }

    /// `observer` is called with each new value (not with the current one).
    [[nodiscard]] Subscription subscribe(Observer observer) {
        const auto id = nextId_++;
        observers_->emplace(id, std::move(observer));
        return Subscription(observers_, id);
    }

private:
    T value_;
    std::shared_ptr<std::map<std::uint64_t, Observer>> observers_ =
        std::make_shared<std::map<std::uint64_t, Observer>>();
    std::uint64_t nextId_ = 1;
};

} // namespace lorvan

#include "app/session/PlayerSession.hpp"

#include "app/session/DiscOpening.hpp"
#include "app/session/QtMainThreadExecutor.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LogEntry.hpp"
#include "platform/PortAudioOutput.hpp"
#include "platform/QtUserDefaults.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <QCoreApplication>
#include <random>

namespace lorvan {

/// The engine's output, whose device can be chosen again: the new one takes over when the
/// engine next connects (a disc is loaded), with the old one stopped by then. Main thread.
class SelectableOutput final : public AudioOutput {
public:
    SelectableOutput(PlayerSession::OutputFactory make, std::optional<std::string> deviceName)
        : make_(std::move(make))
        , chosen_(std::move(deviceName))
        , current_(make_(chosen_)) {}

    void select(std::optional<std::string> deviceName) {
        if (deviceName == chosen_) return;
        chosen_ = std::move(deviceName);
        stale_ = true;
    }

    [[nodiscard]] std::string name() const override { return current_->name(); }
    OutputConfiguration configure(double sampleRate, int channels) override {
        if (stale_) {
            current_->stop();
            current_ = make_(chosen_);
            if (blockDuration_) current_->setBlockDuration(*blockDuration_);
            stale_ = false;
        }
        return current_->configure(sampleRate, channels);
    }
    void start(AudioRenderSource& source) override { current_->start(source); }
    void stop() noexcept override { current_->stop(); }
    void setBlockDuration(std::chrono::milliseconds duration) override {
        blockDuration_ = duration;
        current_->setBlockDuration(duration);
    }

private:
    PlayerSession::OutputFactory make_;
    std::optional<std::string> chosen_;
    bool stale_ = false;
    std::unique_ptr<AudioOutput> current_;
    std::optional<std::chrono::milliseconds> blockDuration_;
};

namespace {

AudioDiscPlayer::RandomIndex seededRandomIndex(std::optional<std::uint64_t> seed) {
    if (!seed) return {};
    auto generator = std::make_shared<std::mt19937_64>(*seed);
    return [generator](std::size_t first, std::size_t last) {
        return std::uniform_int_distribution<std::size_t>(first, last)(*generator);
    };
}

} // namespace

PlayerSession::PlayerSession(Options options)
    : userDefaults_(options.userDefaults ? std::move(options.userDefaults)
                                         : std::make_shared<QtUserDefaults>())
    , mainThread_(std::make_shared<QtMainThreadExecutor>())
    , watchdog_(options.stallTimeout) {
    const auto& mainThread = mainThread_;
    // The device's watcher thread reports a lost device; the notification hops to the main
    // thread and finds the session gone if it went first.
    const auto deviceLost = [mainThread, alive = std::weak_ptr<int>(alive_), this] {
        mainThread->post([alive, this] {
            if (alive.expired() || !notifications.soundDeviceLost) return;
            notifications.soundDeviceLost();
        });
    };
    const platform::OutputChoice choice =
        options.soundDevice ? platform::OutputChoice::device : platform::OutputChoice::null;
    OutputFactory makeOutput = options.makeOutput
                                   ? std::move(options.makeOutput)
                                   : [choice, deviceLost](const std::optional<std::string>& deviceName) {
                                         return platform::makePlaybackOutput(choice, deviceName, deviceLost);
                                     };
    auto output = std::make_unique<SelectableOutput>(std::move(makeOutput), std::move(options.deviceName));
    output_ = output.get();
    auto engine = std::make_shared<GraphAudioEngine>(std::move(output), platform::soxrResamplerFactory());
    player_ = AudioDiscPlayer::create({engine, std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
                                       std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"), mainThread,
                                       userDefaults_, seededRandomIndex(options.shuffleSeed)});

    // A stall is a matter of seconds, and the player's counters are cheap.
    watchdogTimer_.setInterval(250);
    QObject::connect(&watchdogTimer_, &QTimer::timeout, [this] { watch(); });
    watchdogTimer_.start();
}

PlayerSession::~PlayerSession() {
    shutDown();
}

void PlayerSession::watch() {
    if (!player_) return;
    // Nothing can run dry while more than a second of audio is scheduled, nor while not playing:
    // then one look a second; four a second once the pipeline may be a second from dry.
    constexpr auto secondOfBuffers = static_cast<long>(1 / AudioDiscPlayer::bufferSeconds);
    const bool mayRunDry = player_->state() == AudioDiscPlayer::State::playing &&
                           player_->currentlyScheduledBuffers() <= secondOfBuffers;
    const int interval = mayRunDry ? 250 : 1000;
    if (watchdogTimer_.interval() != interval) watchdogTimer_.setInterval(interval);
    const auto stall = watchdog_.check(*player_, std::chrono::steady_clock::now());
    if (!stall) return;
    if (stall->kind == PlaybackStallWatchdog::Stall::Kind::discEnded) {
        player_->stopEject();
        if (notifications.discEndedAtStall) notifications.discEndedAtStall();
        return;
    }
    ConsoleLog::write("Playback stopped: the disc could not be read from frame " +
                      std::to_string(stall->frame) + ".");
    player_->stopEject();
    if (notifications.readFailed) notifications.readFailed(stall->frame);
}

void PlayerSession::open(const std::filesystem::path& path, bool autoplay) {
    load([&path] { return openDisc(path); }, autoplay);
}

std::future<AudioDisc> PlayerSession::assemble(const std::filesystem::path& path) {
    return std::async(std::launch::async, [path] { return openDisc(path); });
}

void PlayerSession::open(std::future<AudioDisc> assembly, bool autoplay) {
    load([&assembly] { return assembly.get(); }, autoplay);
}

void PlayerSession::load(const std::function<AudioDisc()>& assemble, bool autoplay) {
    std::optional<AudioDisc> disc;
    try {
        disc = assemble();
    } catch (const InputError& error) {
        // Refused before any reader saw the path, so nothing has said why yet.
        LogEntry::error(error).print();
        throw;
    }
    player_->load(std::move(*disc), autoplay);
}

void PlayerSession::setOutputDevice(std::optional<std::string> deviceName) {
    output_->select(std::move(deviceName));
}

void PlayerSession::shutDown() {
    if (!player_) return;
    watchdogTimer_.stop();
    player_->insertDisc(std::nullopt);
    // Ejecting stops the engine and the output; the queues may still hold the player for a
    // moment, and hand their last reference back to the event loop.
    const std::weak_ptr<AudioDiscPlayer> weak = player_;
    output_ = nullptr;
    player_.reset();
    while (!weak.expired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QCoreApplication::processEvents();
}

std::vector<std::string> outputDeviceNames() {
    return platform::outputDeviceNames();
}

} // namespace lorvan

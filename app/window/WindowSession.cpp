#include "WindowSession.hpp"

#include "app/session/DiscOpening.hpp"
#include "app/session/QtMainThreadExecutor.hpp"
#include "platform/SoxrResampler.hpp"
#include "playback/GraphAudioEngine.hpp"
#include "playback/ThreadSerialQueue.hpp"

#include <QCoreApplication>

namespace lorvan::window {

WindowSession::WindowSession(std::unique_ptr<AudioOutput> output, std::shared_ptr<UserDefaults> defaults) {
    auto engine = std::make_shared<GraphAudioEngine>(std::move(output), platform::soxrResamplerFactory());
    player_ = AudioDiscPlayer::create({std::move(engine),
                                       std::make_shared<ThreadSerialQueue>("populateDequeQueue"),
                                       std::make_shared<ThreadSerialQueue>("scheduleBufferQueue"),
                                       std::make_shared<QtMainThreadExecutor>(),
                                       std::move(defaults),
                                       {}});
}

WindowSession::~WindowSession() {
    shutDown();
}

std::filesystem::path WindowSession::discLocation(const std::filesystem::path& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return path;
    if (std::filesystem::is_regular_file(path, error) && path.extension() != ".cue" &&
        path.extension() != ".CUE")
        return path.parent_path().empty() ? std::filesystem::path(".") : path.parent_path();
    return path;
}

void WindowSession::open(const std::filesystem::path& path, bool autoplay) {
    player_->load(openDisc(discLocation(std::filesystem::absolute(path))), autoplay);
}

void WindowSession::shutDown() {
    if (!player_) return;
    player_->stopEject();
    player_->insertDisc(std::nullopt);
    const std::weak_ptr<AudioDiscPlayer> weak = player_;
    player_.reset();
    while (!weak.expired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    QCoreApplication::processEvents();
}

} // namespace lorvan::window

#include "RenderOutput.hpp"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lorvan::cli {
namespace {

constexpr std::array<int, 4> endingSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// What the handler needs, in storage it can read without locks or allocation.
char temporaryPathForSignals[PATH_MAX];
volatile std::sig_atomic_t armed = 0;
std::array<struct sigaction, endingSignals.size()> previousActions{};

extern "C" void removeTemporaryAndExit(int signal) {
    if (armed) ::unlink(temporaryPathForSignals);
    ::_exit(128 + signal);
}

std::string quoted(const std::filesystem::path& path) {
    return "'" + path.string() + "'";
}

std::string reasonOf(int error) {
    return std::string(std::strerror(error)) + ".";
}

} // namespace

RenderOutputError::RenderOutputError(std::string kind, std::string description, std::string reason)
    : LocalizedError(description)
    , kind_(std::move(kind))
    , description_(std::move(description))
    , reason_(std::move(reason)) {}

RenderOutput::RenderOutput(std::filesystem::path target, const std::vector<std::filesystem::path>& inputs)
    : target_(std::move(target)) {
    const std::string refused = "Couldn't render to " + quoted(target_);
    // stat follows links, so a link to the rip, or the rip under another name, is caught too.
    struct stat targetStatus {};
    if (::stat(target_.c_str(), &targetStatus) == 0) {
        for (const auto& input : inputs) {
            struct stat inputStatus {};
            if (::stat(input.c_str(), &inputStatus) != 0) continue;
            if (inputStatus.st_dev == targetStatus.st_dev && inputStatus.st_ino == targetStatus.st_ino)
                throw RenderOutputError("sameFileAsInput", refused,
                                        "It is the disc's own file " + quoted(input) +
                                            ", which rendering into would destroy.");
        }
    }

    const std::filesystem::path folder = target_.parent_path().empty() ? "." : target_.parent_path();
    const std::string extension = target_.extension().string();
    std::string pattern = (folder / ("." + target_.stem().string() + ".partial-XXXXXX" + extension)).string();
    if (pattern.size() >= sizeof temporaryPathForSignals)
        throw RenderOutputError("cannotCreate", refused, reasonOf(ENAMETOOLONG));
    // The handlers come first and the signals wait while the file is made and its name stored:
    // once the temporary file exists, a signal removes it.
    struct sigaction action {};
    action.sa_handler = removeTemporaryAndExit;
    sigemptyset(&action.sa_mask);
    sigset_t blocked;
    sigemptyset(&blocked);
    for (std::size_t i = 0; i < endingSignals.size(); ++i) {
        sigaddset(&blocked, endingSignals[i]);
        ::sigaction(endingSignals[i], &action, &previousActions[i]);
    }
    sigset_t previousMask;
    ::pthread_sigmask(SIG_BLOCK, &blocked, &previousMask);
    const int descriptor = ::mkstemps(pattern.data(), static_cast<int>(extension.size()));
    const int createError = errno;
    if (descriptor >= 0) {
        std::memcpy(temporaryPathForSignals, pattern.c_str(), pattern.size() + 1);
        armed = 1;
    }
    ::pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    if (descriptor < 0) {
        for (std::size_t i = 0; i < endingSignals.size(); ++i)
            ::sigaction(endingSignals[i], &previousActions[i], nullptr);
        throw RenderOutputError("cannotCreate", refused, reasonOf(createError));
    }
    // mkstemps makes the file private; the result gets the permissions of any new file.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    (void)::fchmod(descriptor, 0666 & ~mask);
    ::close(descriptor);
    temporary_ = pattern;
}

RenderOutput::~RenderOutput() {
    armed = 0;
    for (std::size_t i = 0; i < endingSignals.size(); ++i)
        ::sigaction(endingSignals[i], &previousActions[i], nullptr);
    if (!committed_) {
        std::error_code ignored;
        std::filesystem::remove(temporary_, ignored);
    }
}

void RenderOutput::commit() {
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        const int error = errno;
        std::error_code ignored;
        std::filesystem::remove(temporary_, ignored);
        throw RenderOutputError("cannotReplace", "Couldn't render to " + quoted(target_), reasonOf(error));
    }
    committed_ = true;
    armed = 0;
}

} // namespace lorvan::cli

#include "Commands.hpp"
#include "app/identity/Identity.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

/// `status`, unless standard output could not take everything written to it (a full disk, a
/// reader that went away): a script must not take a cut listing for a whole one.
int checkedStandardOutput(int status) {
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    const int flushError = errno;
    if (flushed && !std::ferror(stdout)) return status;
    std::fprintf(stderr, "lorvan-cli: cannot write to standard output%s%s.\n", flushError ? ": " : "",
                 flushError ? std::strerror(flushError) : "");
    return status == lorvan::cli::exitSuccess ? lorvan::cli::exitRefused : status;
}

} // namespace

int main(int argc, char** argv) {
    // A closed pipe makes writes fail with EPIPE, reported like any other failed write, instead
    // of ending the process without a word.
    std::signal(SIGPIPE, SIG_IGN);

    CLI::App app{"lorvan-cli: reads and plays audio CDs ripped to files", "lorvan-cli"};
    app.set_version_flag("--version", "lorvan-cli " + std::string(lorvan::identity::version()));
    app.require_subcommand(1);

    int status = lorvan::cli::exitSuccess;
    lorvan::cli::addCueCommand(app, status);
    lorvan::cli::addInfoCommand(app, status);
    lorvan::cli::addDemoCommand(app, status);
    lorvan::cli::addThemesCommand(app, status);
    lorvan::cli::addPlayCommand(app, status);
    lorvan::cli::addRenderCommand(app, status);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return checkedStandardOutput(app.exit(e));
    } catch (const CLI::CallForAllHelp& e) {
        return checkedStandardOutput(app.exit(e));
    } catch (const CLI::CallForVersion& e) {
        return checkedStandardOutput(app.exit(e));
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return checkedStandardOutput(lorvan::cli::exitUsage);
    }
    return checkedStandardOutput(status);
}

#include "Commands.hpp"
#include "app/identity/Identity.hpp"

#include <cstdio>

int main(int argc, char** argv) {
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
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return lorvan::cli::exitUsage;
    }
    return status;
}

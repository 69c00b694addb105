#include "app/identity/Identity.hpp"
#include "support/TestSupport.hpp"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

namespace fs = std::filesystem;
const auto quoted = test::shellQuoted;

/// A scratch folder with the version script's outputs beside it; `repository` is where git runs.
class VersionScript : public testing::Test {
protected:
    test::TemporaryDirectory directory;
    fs::path repository = directory.path() / "source";
    fs::path header = directory.path() / "out" / "LorvanVersion.hpp";
    fs::path versionFile = directory.path() / "out" / "version.txt";

    void SetUp() override { fs::create_directories(repository); }

    std::string git(const std::string& arguments) {
        const auto run = test::runProcess("git", "-C " + quoted(repository) +
                                                     " -c user.name=Test -c user.email=test@example.org "
                                                     "-c init.defaultBranch=main " +
                                                     arguments);
        EXPECT_EQ(run.status, 0) << "git " << arguments;
        return run.out.substr(0, run.out.find_last_not_of('\n') + 1);
    }

    void commit(const std::string& text) {
        std::ofstream(repository / "file.txt") << text;
        git("add file.txt");
        git("commit -q -m " + quoted(text));
    }

    /// Runs the script and returns the version it wrote.
    std::string generate() {
        const auto run = test::runProcess(
            LORVAN_CMAKE,
            "-DSOURCE_DIR=" + quoted(repository) + " -DFALLBACK_VERSION=0.1.0 -DHEADER=" + quoted(header) +
                " -DVERSION_FILE=" + quoted(versionFile) + " -P " + quoted(LORVAN_VERSION_SCRIPT));
        EXPECT_EQ(run.status, 0);
        const auto text = test::fileText(versionFile);
        EXPECT_THAT(test::fileText(header), testing::HasSubstr("#define LORVAN_BUILD_VERSION \"" +
                                                               text.substr(0, text.size() - 1) + "\""));
        return text.substr(0, text.size() - 1);
    }
};

TEST_F(VersionScript, DescribesTagsCommitsAndChangesAndRewritesOnlyOnAChange) {
    EXPECT_EQ(generate(), "0.1.0") << "outside a git checkout";

    git("init -q");
    commit("first");
    const auto first = git("rev-parse --short HEAD");
    EXPECT_EQ(generate(), "0.1.0-g" + first) << "no tag reachable: the project version stands in";

    std::ofstream(repository / "file.txt") << "edited";
    EXPECT_EQ(generate(), "0.1.0-g" + first + "-dirty");
    git("checkout -q -- file.txt");

    git("tag v1.2.0");
    EXPECT_EQ(generate(), "1.2.0");
    commit("second");
    EXPECT_EQ(generate(), "1.2.0-1-g" + git("rev-parse --short HEAD"));
    git("tag 2.0");
    EXPECT_EQ(generate(), "2.0") << "a tag without the v prefix";

    // The header is rewritten only when the version changes, so that nothing rebuilds for
    // nothing. Back-dated, so that a rewrite within the same clock tick would still show.
    const auto past = fs::last_write_time(header) - std::chrono::hours(1);
    fs::last_write_time(header, past);
    fs::last_write_time(versionFile, past);

    generate();
    EXPECT_EQ(fs::last_write_time(header), past);
    EXPECT_EQ(fs::last_write_time(versionFile), past);

    commit("third");
    generate();
    EXPECT_NE(fs::last_write_time(header), past) << "a new HEAD is a new version";
    EXPECT_NE(fs::last_write_time(versionFile), past);
}

TEST(Identity, ProgramsReportTheVersionThisBuildRead) {
    const auto text = test::fileText(LORVAN_VERSION_FILE);
    const auto built = text.substr(0, text.find('\n'));
    ASSERT_FALSE(built.empty());
    EXPECT_EQ(identity::version(), built);
    EXPECT_EQ(test::runProcess(LORVAN_CLI, "--version").out, "lorvan-cli " + built + "\n");
    EXPECT_EQ(identity::appId, "app.lorvan.Lorvan");
}

} // namespace
} // namespace lorvan

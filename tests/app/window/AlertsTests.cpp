#include "WindowTestSupport.hpp"
#include "app/window/Alerts.hpp"
#include "core/LocalizedError.hpp"

#include <QMessageBox>
#include <QWidget>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

class ThreeTextError final : public LocalizedError {
public:
    ThreeTextError(std::optional<std::string> description, std::optional<std::string> reason,
                   std::optional<std::string> suggestion)
        : LocalizedError("what() is not shown when there is a description")
        , description_(std::move(description))
        , reason_(std::move(reason))
        , suggestion_(std::move(suggestion)) {}
    std::string typeName() const override { return "ThreeTextError"; }
    std::string kindName() const override { return "three"; }
    std::optional<std::string> errorDescription() const override { return description_; }
    std::optional<std::string> failureReason() const override { return reason_; }
    std::optional<std::string> recoverySuggestion() const override { return suggestion_; }

private:
    std::optional<std::string> description_, reason_, suggestion_;
};

TEST(RefusedOpenAlert, ShowsDescriptionReasonAndSuggestion) {
    test::application();
    QWidget window;
    const ThreeTextError error("The cue sheet “Live – 1999.cue” could not be opened.",
                               "Line 7: INDEX 01 comes before any TRACK.",
                               "Open the cue sheet in a text editor and add the missing TRACK.");
    const auto box = makeRefusedOpenAlert(error, &window);
    EXPECT_EQ(box->text(), QString::fromUtf8("The cue sheet “Live – 1999.cue” could not be opened."));
    EXPECT_EQ(box->informativeText(), QString::fromUtf8("Line 7: INDEX 01 comes before any TRACK.\n\n"
                                                        "Open the cue sheet in a text editor and add the "
                                                        "missing TRACK."));
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_EQ(box->parentWidget(), &window);
}

TEST(RefusedOpenAlert, MissingTextsLeaveNoGapAndNoPlaceholder) {
    test::application();
    // Only a suggestion: no leading blank lines. No description: the error's own message.
    const auto onlySuggestion =
        makeRefusedOpenAlert(ThreeTextError("Refused.", std::nullopt, "Try another folder."), nullptr);
    EXPECT_EQ(onlySuggestion->informativeText(), "Try another folder.");
    const auto empty = makeRefusedOpenAlert(ThreeTextError(std::nullopt, "", std::nullopt), nullptr);
    EXPECT_EQ(empty->text(), "what() is not shown when there is a description");
    EXPECT_TRUE(empty->informativeText().isEmpty());
}

TEST(RefusedOpenAlert, ShownWithoutBlockingAndGoneWhenClosed) {
    test::application();
    QWidget window;
    window.show();
    QPointer<QMessageBox> box = showRefusedOpenAlert(ThreeTextError("A", "B", "C"), &window);
    // Returning at all proves the call did not run a nested event loop until the box closed.
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->windowModality(), Qt::WindowModal);
    box->accept();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(box);
}

TEST(PlaybackMessages, OneNonModalBoxShowsTheLatestTrouble) {
    test::application();
    QWidget window;
    window.show();
    PlaybackMessages messages(&window);
    EXPECT_EQ(messages.box(), nullptr);
    messages.showReadFailure("track02.flac: decoding failed at 0:41");
    QMessageBox* first = messages.box();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isVisible());
    EXPECT_EQ(first->windowModality(), Qt::NonModal);
    EXPECT_TRUE(first->informativeText().startsWith("track02.flac: decoding failed at 0:41"));
    EXPECT_TRUE(first->informativeText().endsWith("Playback stopped.")) << "a failed read stops the disc";

    messages.showDeviceLost("USB Audio was unplugged");
    EXPECT_EQ(messages.box(), first) << "a second trouble reuses the box instead of stacking one";
    EXPECT_NE(first->text(), QString("Lorvan could not read part of the disc."));
    EXPECT_TRUE(first->informativeText().startsWith("USB Audio was unplugged"));
    EXPECT_TRUE(first->informativeText().endsWith("Playback goes on.")) << "without sound, at its pace";

    first->accept();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(messages.box(), nullptr);
    messages.showReadFailure("again");
    EXPECT_NE(messages.box(), nullptr) << "a trouble after the user closed the box opens a new one";
}

} // namespace
} // namespace lorvan

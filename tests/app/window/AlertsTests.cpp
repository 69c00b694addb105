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

TEST(RefusedOpenAlert, ShowsDescriptionReasonAndSuggestionWithoutGapsOrPlaceholders) {
    test::application();
    QWidget window;
    using Text = std::optional<std::string>;
    const struct {
        const char* what;
        Text description, reason, suggestion;
        QString text, informative;
    } rows[] = {
        {"all three, apart by a blank line", "The cue sheet “Live – 1999.cue” could not be opened.",
         "Line 7: INDEX 01 comes before any TRACK.", "Add the missing TRACK.",
         QString::fromUtf8("The cue sheet “Live – 1999.cue” could not be opened."),
         "Line 7: INDEX 01 comes before any TRACK.\n\nAdd the missing TRACK."},
        {"only a suggestion: no leading blank lines", "Refused.", std::nullopt, "Try another folder.",
         "Refused.", "Try another folder."},
        {"no description: the error's own message", std::nullopt, "", std::nullopt,
         "what() is not shown when there is a description", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto box =
            makeRefusedOpenAlert(ThreeTextError(row.description, row.reason, row.suggestion), &window);
        EXPECT_EQ(box->text(), row.text);
        EXPECT_EQ(box->informativeText(), row.informative);
        EXPECT_EQ(box->icon(), QMessageBox::Warning);
        EXPECT_EQ(box->parentWidget(), &window);
    }
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

} // namespace
} // namespace lorvan

#pragma once

#include <QDialog>
#include <QString>
#include <vector>

namespace lorvan {

/// What Lorvan ships or links, with the licence it comes under.
struct Credit {
    QString name;
    QString role;
    QString licence;
};

/// The credits the About window lists, in the order shown.
[[nodiscard]] const std::vector<Credit>& credits();

/// "About Lorvan": the name, the version, a line on what Lorvan is, and the credits.
class AboutWindow : public QDialog {
    Q_OBJECT
public:
    /// The version this build was made from.
    explicit AboutWindow(QWidget* parent = nullptr);
    AboutWindow(const QString& version, QWidget* parent);
};

} // namespace lorvan

#include "platform/QtUserDefaults.hpp"

#include "core/LogEntry.hpp"

#include <QSettings>
#include <QString>

namespace lorvan {
namespace {

QString qKey(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

} // namespace

QtUserDefaults::QtUserDefaults()
    : settings_(
          // On Linux the native format is an INI file named ".conf".
          std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope, "Lorvan", "Lorvan")) {}

QtUserDefaults::~QtUserDefaults() = default;

std::optional<std::string> QtUserDefaults::string(std::string_view key) const {
    const QString k = qKey(key);
    if (!settings_->contains(k)) return std::nullopt;
    return settings_->value(k).toString().toStdString();
}

void QtUserDefaults::setString(std::string_view key, const std::string& value) {
    settings_->setValue(qKey(key), QString::fromStdString(value));
    settings_->sync();
    if (settings_->status() == QSettings::NoError) return;
    saveFailed_ = true;
    LogEntry::warning("Cannot save the setting \"" + std::string(key) + "\" to " + fileName() + ".").print();
}

std::string QtUserDefaults::fileName() const {
    return settings_->fileName().toStdString();
}

} // namespace lorvan

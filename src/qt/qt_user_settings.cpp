#include "qt_user_settings.h"

#include <QSettings>

namespace td {
namespace {

QString Key_Of(const std::string& section, const std::string& key) {
    return QString::fromStdString(section) + QLatin1Char('/') + QString::fromStdString(key);
}

} // namespace

std::string Qt_User_Settings::Get(const std::string& application, const std::string& section,
                                  const std::string& key, const std::string& default_value) {
    QSettings store(QSettings::IniFormat, QSettings::UserScope, QString::fromStdString(application),
                    QString::fromStdString(application));
    QVariant value = store.value(Key_Of(section, key));
    if (!value.isValid())
        return default_value;
    return value.toString().toStdString();
}

void Qt_User_Settings::Save(const std::string& application, const std::string& section,
                            const std::string& key, const std::string& value) {
    QSettings store(QSettings::IniFormat, QSettings::UserScope, QString::fromStdString(application),
                    QString::fromStdString(application));
    store.setValue(Key_Of(section, key), QString::fromStdString(value));
    store.sync(); // the value must be on disk when the call returns
    if (store.status() != QSettings::NoError && save_failure_.empty())
        save_failure_ =
            store.fileName().toStdString() + ": " +
            (store.status() == QSettings::AccessError ? "the file or its folder cannot be written"
                                                      : "the file is not in the settings format");
}

} // namespace td

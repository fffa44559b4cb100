#include "qt/qt_translation.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

namespace td {

bool Install_Qt_Russian(QCoreApplication& app) {
    auto* translator = new QTranslator(&app);
    if (!translator->load(QStringLiteral("qtbase_ru"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        delete translator;
        return false;
    }
    return QCoreApplication::installTranslator(translator);
}

} // namespace td

#include "qt/qt_translation.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>
#include <cstring>

namespace td {
namespace {

// The kinds of entry the file dialog names, which the installed translation leaves English.
class File_Kind_Texts : public QTranslator {
public:
    using QTranslator::QTranslator;
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char*, int) const override {
        if (context == nullptr || source == nullptr ||
            std::strcmp(context, "QAbstractFileIconProvider") != 0)
            return {};
        static const char* const texts[][2] = {
            {"Folder", "Папка"}, {"File", "Файл"}, {"%1 File", "Файл %1"}, {"Drive", "Диск"}};
        for (const auto& text : texts)
            if (std::strcmp(source, text[0]) == 0)
                return QString::fromUtf8(text[1]);
        return {};
    }
};

} // namespace

bool Install_Qt_Russian(QCoreApplication& app) {
    auto* translator = new QTranslator(&app);
    if (!translator->load(QStringLiteral("qtbase_ru"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(new File_Kind_Texts(&app));
    return QCoreApplication::installTranslator(translator);
}

void Use_Russian_Locale() {
    // The system locale of the toolkit takes its dates from LC_TIME and its words (the unit of
    // sizes among them) from LC_MESSAGES; LC_ALL would override both.
    if (qEnvironmentVariableIsEmpty("LC_ALL")) {
        qputenv("LC_TIME", "ru_RU.UTF-8");
        qputenv("LC_MESSAGES", "ru_RU.UTF-8");
    }
    QLocale::setDefault(QLocale(QLocale::Russian, QLocale::Russia));
}

} // namespace td

#include "qt/qt_printer.h"

#include "base/ports.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QPrinterInfo>
#include <QStandardPaths>

namespace td {

std::string Unused_Pdf_Path() {
    QString folder = qEnvironmentVariable("TALLY_DEPOT_PDF_DIR");
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        folder = QDir::homePath();
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString path = QDir(folder).filePath(QStringLiteral("tally-depot-%1.pdf").arg(stamp));
    for (int n = 2; QFileInfo::exists(path); ++n)
        path = QDir(folder).filePath(QStringLiteral("tally-depot-%1-%2.pdf").arg(stamp).arg(n));
    return path.toStdString();
}

Qt_Printer::Qt_Printer(Ui& ui) : ui_(ui), printer_(QPrinter::HighResolution) {
    if (QPrinterInfo::defaultPrinter().isNull()) {
        pdf_path_ = Unused_Pdf_Path();
        printer_.setOutputFormat(QPrinter::PdfFormat);
        printer_.setOutputFileName(QString::fromStdString(pdf_path_));
    }
    Set_Device(&printer_, printer_.resolution());
}

bool Qt_Printer::End_Document() {
    const bool ok = Painter_Printer::End_Document();
    if (pdf_path_.empty()) {
        if (!ok)
            ui_.Message_Box("Страница не напечатана: принтер не принял задание.", box::Warning,
                            "Печать");
        return ok;
    }
    if (ok && QFileInfo(QString::fromStdString(pdf_path_)).size() > 0)
        ui_.Message_Box("Принтер не установлен. Страница записана в файл:\n" + pdf_path_,
                        box::Information, "Печать");
    else
        ui_.Message_Box("Принтер не установлен, и файл " + pdf_path_ + " записать не удалось.",
                        box::Warning, "Печать");
    return ok;
}

} // namespace td

#include "qt/pdf_printer.h"

#include "qt/painter_printer.h"

#include <QFile>
#include <QGuiApplication>
#include <QPageSize>
#include <QPdfWriter>
#include <cstdlib>

namespace td {

// tdctl has no window system to speak of: the offscreen platform draws fonts as well.
struct Pdf_Printer::Application {
    Application() {
        if (std::getenv("QT_QPA_PLATFORM") == nullptr)
            setenv("QT_QPA_PLATFORM", "offscreen", 1);
        application = std::make_unique<QGuiApplication>(argc, argv);
    }
    int argc = 1;
    char name[6] = "tdctl";
    char* argv[2] = {name, nullptr};
    std::unique_ptr<QGuiApplication> application;
};

struct Pdf_Printer::Impl : Painter_Printer {
    explicit Impl(const std::string& path) : file(QString::fromStdString(path)) {
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            failure = file.errorString().toStdString();
            return;
        }
        writer = std::make_unique<QPdfWriter>(&file);
        writer->setPageSize(QPageSize(QPageSize::A4));
        writer->setPageMargins(QMarginsF(10, 10, 10, 10), QPageLayout::Millimeter);
        writer->setResolution(1200);
        writer->setCreator(QStringLiteral("Tally Depot"));
        Set_Device(writer.get(), writer->resolution());
    }
    bool Finish() {
        bool ok = Painter_Printer::End_Document();
        writer.reset();
        file.flush();
        if (file.error() != QFileDevice::NoError) {
            failure = file.errorString().toStdString();
            ok = false;
        }
        file.close();
        return ok;
    }
    QFile file;
    std::unique_ptr<QPdfWriter> writer;
    std::string failure;
};

Pdf_Printer::Pdf_Printer(const std::string& file) {
    if (QGuiApplication::instance() == nullptr)
        application_ = std::make_unique<Application>();
    impl_ = std::make_unique<Impl>(file);
}

Pdf_Printer::~Pdf_Printer() = default;

bool Pdf_Printer::Ready() const {
    return impl_->failure.empty();
}
std::string Pdf_Printer::Failure() const {
    return impl_->failure;
}
void Pdf_Printer::Set_Landscape(bool landscape) {
    impl_->Set_Landscape(landscape);
}
int Pdf_Printer::Page_Width() {
    return impl_->Page_Width();
}
int Pdf_Printer::Page_Height() {
    return impl_->Page_Height();
}
void Pdf_Printer::Set_Font(int points, bool bold) {
    impl_->Set_Font(points, bold);
}
int Pdf_Printer::Text_Width(const std::string& text) {
    return impl_->Text_Width(text);
}
int Pdf_Printer::Text_Height() {
    return impl_->Text_Height();
}
void Pdf_Printer::Text(int x, int y, const std::string& text) {
    impl_->Text(x, y, text);
}
void Pdf_Printer::Line(int x1, int y1, int x2, int y2, int thickness) {
    impl_->Line(x1, y1, x2, y2, thickness);
}
void Pdf_Printer::New_Page() {
    impl_->New_Page();
}
bool Pdf_Printer::End_Document() {
    return impl_->Finish();
}

} // namespace td

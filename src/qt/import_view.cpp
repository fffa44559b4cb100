#include "qt/import_view.h"

#include "base/ports.h"
#include "import/dbf_table.h"
#include "import/import_1c.h"
#include "qt/qt_mdi_form.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QVBoxLayout>

namespace td {

namespace {

QString Q(const char* text) {
    return QString::fromUtf8(text);
}

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// The filter's "description|pattern|..." pairs as the file dialog takes them; the descriptions
// carry their patterns already.
QString Dialog_Filter(const std::string& filter) {
    QStringList parts = Q(filter).split('|');
    QStringList filters;
    for (int i = 0; i < parts.size(); i += 2)
        filters << parts[i];
    return filters.join(";;");
}

} // namespace

Import_1C_View::Import_1C_View(QWidget* parent, Program_State& state, Ui& ui, Clock& clock,
                               User_Settings& user_settings)
    : QDialog(parent), ui_(ui), table_(std::make_unique<Dbf_Table>()),
      model_(std::make_unique<Import_1C>(state, ui, clock, user_settings, *table_)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Q(Import_1C::Caption));
    auto* layout = new QVBoxLayout(this);

    auto* place = new QGroupBox(Q(Import_1C::Frame1_Caption), this);
    auto* place_layout = new QVBoxLayout(place);
    auto* path_row = new QHBoxLayout;
    text1_ = new QLineEdit(place);
    auto* browse = new QPushButton(Q(Import_1C::Browse_Caption), place);
    path_row->addWidget(text1_, 1);
    path_row->addWidget(browse);
    text2_ = new QLineEdit(place);
    text2_->setReadOnly(true);
    place_layout->addLayout(path_row);
    place_layout->addWidget(text2_);
    layout->addWidget(place);

    auto* settings = new QGroupBox(Q(Import_1C::Frame2_Caption), this);
    auto* settings_layout = new QVBoxLayout(settings);
    const char* captions[3] = {Import_1C::Option1_Caption, Import_1C::Option2_Caption,
                               Import_1C::Option3_Caption};
    for (int i = 0; i < 3; ++i) {
        options_[i] = new QRadioButton(Q(captions[i]), settings);
        settings_layout->addWidget(options_[i]);
        connect(options_[i], &QRadioButton::clicked, this, [this, i] {
            model_->Option_Click(i + 1);
            Refresh();
        });
    }
    layout->addWidget(settings);

    auto* buttons = new QHBoxLayout;
    import_ = new QPushButton(Q(Import_1C::Import_Caption), this);
    compare_ = new QPushButton(Q(Import_1C::Compare_Caption), this);
    auto* cancel = new QPushButton(Q(Import_1C::Cancel_Caption), this);
    buttons->addStretch(1);
    buttons->addWidget(import_);
    buttons->addWidget(compare_);
    buttons->addWidget(cancel);
    layout->addLayout(buttons);

    progress_ = new QProgressBar(this);
    progress_->setRange(0, 100);
    progress_->setTextVisible(false);
    layout->addWidget(progress_);

    results_ = new QGroupBox(Q(Import_1C::Frame3_Caption), this);
    auto* results_layout = new QVBoxLayout(results_);
    text3_ = new QPlainTextEdit(results_);
    text3_->setReadOnly(true);
    // The report lines up fields of fixed widths: a fixed-pitch font, no wrapping.
    text3_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text3_->setLineWrapMode(QPlainTextEdit::NoWrap);
    text3_->setMinimumHeight(260);
    results_layout->addWidget(text3_);
    layout->addWidget(results_, 1);

    connect(text1_, &QLineEdit::textEdited, this, [this](const QString& text) {
        model_->Text1_Change(text.toStdString());
        Refresh();
    });
    connect(browse, &QPushButton::clicked, this, [this] { Browse(); });
    connect(import_, &QPushButton::clicked, this, [this] {
        setEnabled(false);
        model_->Command_Import_Click();
        setEnabled(true);
        Refresh();
        if (model_->closed)
            close();
    });
    connect(compare_, &QPushButton::clicked, this, [this] {
        setEnabled(false);
        model_->Command_Compare_Click();
        setEnabled(true);
        Refresh();
    });
    connect(cancel, &QPushButton::clicked, this, [this] {
        model_->Command_Cancel_Click();
        close();
    });
    // The bar is painted as it moves; nothing else is let through meanwhile.
    model_->progress_changed = [this] {
        progress_->setValue(model_->ProgressBar1);
        ui_.Pump_Events();
    };

    model_->Form_Load();
    Refresh();
}

Import_1C_View::~Import_1C_View() = default;

void Import_1C_View::Refresh() {
    const Import_1C& m = *model_;
    if (text1_->text() != Q(m.Text1))
        text1_->setText(Q(m.Text1));
    text2_->setText(Q(m.Text2));
    for (int i = 0; i < 3; ++i)
        options_[i]->setChecked(m.Option == i + 1);
    import_->setVisible(m.Import_Visible);
    compare_->setVisible(m.Compare_Visible);
    import_->setEnabled(m.Import_Enabled);
    compare_->setEnabled(m.Compare_Enabled);
    progress_->setValue(m.ProgressBar1);
    if (text3_->toPlainText() != Q(m.Text3))
        text3_->setPlainText(Q(m.Text3));
    const bool grow = m.Results_Visible != results_->isVisible();
    results_->setVisible(m.Results_Visible);
    // The screen grows to show the results and shrinks back without them.
    if (grow) {
        layout()->activate();
        if (m.Results_Visible)
            resize(qMax(width(), 900), qMax(minimumSizeHint().height(), 680));
        else
            resize(width(), minimumSizeHint().height());
        Keep_On_Screen();
    }
}

void Import_1C_View::Keep_On_Screen() {
    // Grown, the screen would reach past the bottom where it stood: it is centred on the main
    // window again, within the screen's free area.
    QRect area = screen() != nullptr ? screen()->availableGeometry() : QRect();
    if (parentWidget() != nullptr)
        area = area.isNull() ? parentWidget()->geometry()
                             : area.intersected(parentWidget()->geometry());
    if (area.isEmpty())
        return;
    resize(qMin(width(), area.width()), qMin(height(), area.height()));
    QRect placed = geometry();
    placed.moveCenter(area.center());
    move(placed.topLeft());
}

void Import_1C_View::Browse() {
    QFileDialog dialog(this, Q(Import_1C::Browse_Caption),
                       QFileInfo(Q(model_->Text1)).absolutePath(),
                       Dialog_Filter(Import_1C::File_Filter));
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    model_->Browse_Chosen(dialog.selectedFiles().first().toStdString());
    Refresh();
}

Import_1C_View* Open_Import_1C(QWidget* parent, Program_State& state, Ui& ui, Clock& clock,
                               User_Settings& user_settings) {
    auto* view = new Import_1C_View(parent, state, ui, clock, user_settings);
    view->resize(620, view->sizeHint().height());
    view->open();
    return view;
}

void Attach_Import_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                        User_Settings& user_settings) {
    MDI_Form& form = window.Model();
    form.Set_Command("mnu_Import_DB", [&window, &state, &ui, &clock, &user_settings] {
        ui.Close_All_Children();
        Open_Import_1C(&window, state, ui, clock, user_settings);
    });
    form.Set_Command("tb:Импорт", [&window, &state, &ui, &clock, &user_settings] {
        Open_Import_1C(&window, state, ui, clock, user_settings);
    });
}

} // namespace td

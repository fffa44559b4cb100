#include "qt/catalogue_views.h"

#include "base/dates.h"
#include "catalogues/clm_form.h"
#include "catalogues/date_pickers.h"
#include "catalogues/establishmts.h"
#include "catalogues/usr_vol.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_dates.h"
#include "qt/qt_mdi_form.h"

#include <QCalendarWidget>
#include <QDialog>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>
#include <memory>

namespace td {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// A dialog that owns its screen model and goes away when closed.
template <typename Model> struct Model_Dialog : QDialog {
    template <typename... Args>
    Model_Dialog(QWidget* parent, Args&&... args)
        : QDialog(parent), model(std::forward<Args>(args)...) {
        setAttribute(Qt::WA_DeleteOnClose);
    }
    Model model;
};

// The grid with its editing line: a click takes the cell, typing writes it back.
template <typename Screen> QWidget* Edited_Grid(Screen& model, QWidget* parent) {
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    auto* grid = new Qt_Grid_View(model.MSFlexGrid1, box);
    auto* line = new QLineEdit(box);
    layout->addWidget(grid);
    layout->addWidget(line);
    QObject::connect(grid, &QTableView::clicked, box, [&model, line, grid](const QModelIndex&) {
        grid->Grid_Model().Refresh();
        model.MSFlexGrid1_Click();
        line->setText(Q(model.Text1.text));
        line->setFocus();
    });
    QObject::connect(line, &QLineEdit::textEdited, box,
                     [&model](const QString& text) { model.Text1_Change(text.toStdString()); });
    return box;
}

QHBoxLayout* Buttons(QWidget* parent,
                     std::initializer_list<std::pair<const char*, std::function<void()>>> list) {
    auto* row = new QHBoxLayout;
    for (const auto& [caption, action] : list) {
        auto* button = new QPushButton(QString::fromUtf8(caption), parent);
        QObject::connect(button, &QPushButton::clicked, parent, action);
        row->addWidget(button);
    }
    return row;
}

void Open_Fuel(QWidget* parent, Program_State& state, Ui& ui, Clock& clock) {
    auto* dialog = new Model_Dialog<CLM_Form>(parent, state, ui, clock);
    CLM_Form& model = dialog->model;
    model.Form_Load();
    dialog->setWindowTitle(CLM_Form::Caption);
    auto* layout = new QVBoxLayout(dialog);
    QWidget* grid = Edited_Grid(model, dialog);
    grid->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* history = new QAction(CLM_Form::History_Menu, grid);
    QObject::connect(history, &QAction::triggered, dialog,
                     [&model] { model.mnu_prise_hst_Click(); });
    grid->addAction(history);
    layout->addWidget(grid);
    layout->addLayout(Buttons(dialog, {{"Сохранить",
                                        [dialog, &model] {
                                            if (model.Command1_Click())
                                                dialog->close();
                                        }},
                                       {"Отмена", [dialog] { dialog->close(); }}}));
    dialog->resize(560, 360);
    dialog->open();
}

void Open_Stations(QWidget* parent, Program_State& state, Ui& ui) {
    auto* dialog = new Model_Dialog<Establishmts>(parent, state, &ui);
    Establishmts& model = dialog->model;
    model.Form_Load();
    dialog->setWindowTitle(Establishmts::Caption);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(Edited_Grid(model, dialog));
    layout->addLayout(Buttons(dialog, {{"Сохранить",
                                        [dialog, &model] {
                                            if (model.Command1_Click())
                                                dialog->close();
                                        }},
                                       {"Отмена", [dialog] { dialog->close(); }}}));
    dialog->resize(520, 520);
    dialog->open();
}

// Keys of the volume grid go to the screen's key table.
struct Volume_Keys : QObject {
    Usr_Vol& model;
    Qt_Grid_View* grid;
    Volume_Keys(Usr_Vol& m, Qt_Grid_View* g) : QObject(g), model(m), grid(g) {}
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress)
            return false;
        auto* key = static_cast<QKeyEvent*>(event);
        int code = 0;
        if (key->key() == Qt::Key_Backspace)
            code = Usr_Vol::Key_Backspace;
        else if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter)
            code = Usr_Vol::Key_Enter;
        else if (key->text().size() == 1 && key->text()[0].unicode() < 128)
            code = key->text()[0].unicode();
        else
            return false;
        model.MSFlexGrid1_KeyPress(code);
        grid->Grid_Model().Refresh();
        grid->setCurrentIndex(grid->model()->index(model.MSFlexGrid1.Row() - 1, 1));
        return true;
    }
};

void Open_Volumes(QWidget* parent, Program_State& state, Ui& ui) {
    auto* dialog = new Model_Dialog<Usr_Vol>(parent, state, ui);
    Usr_Vol& model = dialog->model;
    model.Form_Load();
    dialog->setWindowTitle(Usr_Vol::Caption);
    auto* layout = new QVBoxLayout(dialog);
    auto* frame = new QGroupBox(Usr_Vol::Frame_Caption, dialog);
    auto* frame_layout = new QVBoxLayout(frame);
    auto* grid = new Qt_Grid_View(model.MSFlexGrid1, frame);
    grid->installEventFilter(new Volume_Keys(model, grid));
    frame_layout->addWidget(grid);
    auto* label = new QLabel(Usr_Vol::Label1, frame);
    label->setWordWrap(true);
    frame_layout->addWidget(label);
    layout->addWidget(frame);
    layout->addLayout(Buttons(dialog, {{"Сохранить",
                                        [dialog, &model] {
                                            if (model.Command2_Click())
                                                dialog->close();
                                        }},
                                       {"Закрыть", [dialog] { dialog->close(); }}}));
    dialog->resize(420, 400);
    grid->setFocus();
    dialog->open();
}

struct Panel_Of_Window : Date_Panel {
    MDI_Form& form;
    explicit Panel_Of_Window(MDI_Form& f) : form(f) {}
    // The window's panel reads the working date itself; it only needs to be told.
    void Set_Date_Panel_Text(const std::string&) override { form.Current_Date_Changed(); }
};

void Open_Working_Date(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                       Browser_Refresh* browsers) {
    auto panel = std::make_shared<Panel_Of_Window>(window.Model());
    auto* dialog =
        new Model_Dialog<Calendar_Single>(&window, state, ui, clock, panel.get(), browsers);
    Calendar_Single& model = dialog->model;
    model.Form_Load();
    dialog->setWindowTitle(Calendar_Single::Caption);
    auto* layout = new QVBoxLayout(dialog);
    QCalendarWidget* calendar = Russian_Calendar(dialog);
    calendar->setSelectedDate(To_QDate(model.Calendar1.value));
    QObject::connect(calendar, &QCalendarWidget::selectionChanged, dialog, [calendar, &model] {
        model.Calendar1.value = From_QDate(calendar->selectedDate());
    });
    layout->addWidget(calendar);
    layout->addLayout(Buttons(dialog, {{"OK",
                                        [dialog, &model, panel] {
                                            model.Command1_Click();
                                            dialog->close();
                                        }},
                                       {"Отмена", [dialog] { dialog->close(); }},
                                       {"Тек. дата", [calendar, &model] {
                                            model.Command3_Click();
                                            calendar->setSelectedDate(
                                                To_QDate(model.Calendar1.value));
                                        }}}));
    dialog->exec();
}

} // namespace

void Attach_Catalogue_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                            Browser_Refresh* browsers) {
    MDI_Form& form = window.Model();
    form.Set_Command("mnu_Services_Fuel_cost",
                     [&window, &state, &ui, &clock] { Open_Fuel(&window, state, ui, clock); });
    form.Set_Command("Mnu_Establishments",
                     [&window, &state, &ui] { Open_Stations(&window, state, ui); });
    form.Set_Command("mnu_User_Volume",
                     [&window, &state, &ui] { Open_Volumes(&window, state, ui); });
    form.Set_Command("mnu_Services_Current_date", [&window, &state, &ui, &clock, browsers] {
        Open_Working_Date(window, state, ui, clock, browsers);
    });
}

} // namespace td

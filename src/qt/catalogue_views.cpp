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

#include <QAbstractItemView>
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
#include <type_traits>

namespace td {

namespace {

// A dialog that owns its screen model and goes away when closed.
template <typename Model> struct Model_Dialog : QDialog {
    template <typename... Args>
    Model_Dialog(QWidget* parent, Args&&... args)
        : QDialog(parent), model(std::forward<Args>(args)...) {
        setAttribute(Qt::WA_DeleteOnClose);
    }
    // The views of the model's grid go before the model does.
    ~Model_Dialog() override { qDeleteAll(findChildren<QWidget*>(Qt::FindDirectChildrenOnly)); }
    Model model;
};

int Twips_Of(int pixels, const QWidget* widget) {
    int dpi = widget->logicalDpiX();
    return dpi > 0 ? pixels * 1440 / dpi : pixels * 15;
}

// A character a key press types into the grid: printable, without Ctrl or Alt.
QString Typed_Character(const QKeyEvent* key) {
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return {};
    const QString text = key->text();
    if (text.isEmpty() || !text.at(0).isPrint())
        return {};
    return text;
}

// The grid of a catalogue with its editing box below it. The cell the user picks, by a click or
// by the arrow keys, is the cell the box edits: the highlight and the edited cell never part.
// A key typed in the grid goes to the screen's key handler, which starts the box; from then on
// the box has the focus and every change of its text goes to that cell.
template <typename Screen> class Edited_Grid : public QWidget {
public:
    Edited_Grid(Screen& model, QWidget* parent) : QWidget(parent), model_(model) {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        grid_ = new Qt_Grid_View(model.MSFlexGrid1, this);
        grid_->setObjectName(QStringLiteral("MSFlexGrid1"));
        grid_->Fill_Width();
        grid_->installEventFilter(this);
        line_ = new QLineEdit(this);
        line_->setObjectName(QStringLiteral("Text1"));
        auto* label = new QLabel(QStringLiteral("Значение ячейки:"), this);
        label->setBuddy(line_);
        auto* row = new QHBoxLayout;
        row->addWidget(label);
        row->addWidget(line_, 1);
        layout->addWidget(grid_, 1);
        layout->addLayout(row);
        connect(grid_->selectionModel(), &QItemSelectionModel::currentChanged, this,
                [this](const QModelIndex& current) {
                    if (current.isValid())
                        Pick();
                });
        // A click on the cell already current picks it again: the box takes its text anew.
        connect(grid_, &QTableView::clicked, this, [this] { Pick(); });
        connect(line_, &QLineEdit::textEdited, this, [this](const QString& text) {
            model_.Text1_Change(text.toStdString());
            grid_->Grid_Model().Refresh();
        });
        // Enter in the box hands the keys back to the grid.
        connect(line_, &QLineEdit::returnPressed, this, [this] { grid_->setFocus(); });
        // The cell current at the opening is the one the box edits until another is picked.
        Pick();
    }
    Qt_Grid_View* Grid_View() const { return grid_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != grid_ || event->type() != QEvent::KeyPress)
            return QWidget::eventFilter(watched, event);
        const QString typed = Typed_Character(static_cast<QKeyEvent*>(event));
        if (typed.isEmpty())
            return false; // arrows, Tab and the like move in the grid
        Key_Press(typed);
        grid_->Grid_Model().Refresh();
        line_->setText(QString::fromStdString(model_.Text1.text));
        line_->setFocus();
        line_->end(false);
        return true;
    }

private:
    void Pick() {
        grid_->Grid_Model().Refresh();
        model_.MSFlexGrid1_Click();
        line_->setText(QString::fromStdString(model_.Text1.text));
    }
    void Key_Press(const QString& typed) {
        if constexpr (std::is_same_v<Screen, CLM_Form>)
            model_.MSFlexGrid1_KeyPress(typed.toStdString());
        else
            model_.MSFlexGrid1_KeyPress(); // the stations' box only takes the focus
    }

    Screen& model_;
    Qt_Grid_View* grid_;
    QLineEdit* line_;
};

// Enter or Return in the watched widget clicks the button instead.
class Enter_Clicks : public QObject {
public:
    Enter_Clicks(QPushButton* button, QObject* parent) : QObject(parent), button_(button) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                button_->click();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QPushButton* button_;
};

QHBoxLayout* Buttons(QWidget* parent,
                     std::initializer_list<std::pair<const char*, std::function<void()>>> list) {
    auto* row = new QHBoxLayout;
    row->addStretch();
    for (const auto& [caption, action] : list) {
        auto* button = new QPushButton(QString::fromUtf8(caption), parent);
        // Enter in a grid or its box never saves by surprise.
        button->setAutoDefault(false);
        QObject::connect(button, &QPushButton::clicked, parent, action);
        row->addWidget(button);
    }
    return row;
}

void Open_Fuel(QWidget* parent, Program_State& state, Ui& ui, Clock& clock) {
    auto* dialog = new Model_Dialog<CLM_Form>(parent, state, ui, clock);
    dialog->setObjectName(QStringLiteral("CLM_Form"));
    dialog->resize(560, 360);
    CLM_Form& model = dialog->model;
    model.form_width = Twips_Of(dialog->width(), dialog);
    model.Form_Load();
    dialog->setWindowTitle(CLM_Form::Caption);
    auto* layout = new QVBoxLayout(dialog);
    auto* grid = new Edited_Grid<CLM_Form>(model, dialog);
    grid->Grid_View()->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* history = new QAction(CLM_Form::History_Menu, grid);
    QObject::connect(history, &QAction::triggered, dialog,
                     [&model] { model.mnu_prise_hst_Click(); });
    grid->Grid_View()->addAction(history);
    layout->addWidget(grid);
    layout->addLayout(Buttons(dialog, {{"Сохранить",
                                        [dialog, &model] {
                                            if (model.Command1_Click())
                                                dialog->close();
                                        }},
                                       {"Отмена", [dialog] { dialog->close(); }}}));
    dialog->open();
    grid->Grid_View()->setFocus();
}

void Open_Stations(QWidget* parent, Program_State& state, Ui& ui) {
    auto* dialog = new Model_Dialog<Establishmts>(parent, state, &ui);
    dialog->setObjectName(QStringLiteral("Establishmts"));
    dialog->resize(520, 520);
    Establishmts& model = dialog->model;
    model.form_width = Twips_Of(dialog->width(), dialog);
    model.Form_Load();
    dialog->setWindowTitle(Establishmts::Caption);
    auto* layout = new QVBoxLayout(dialog);
    auto* grid = new Edited_Grid<Establishmts>(model, dialog);
    layout->addWidget(grid);
    layout->addLayout(Buttons(dialog, {{"Сохранить",
                                        [dialog, &model] {
                                            if (model.Command1_Click())
                                                dialog->close();
                                        }},
                                       {"Отмена", [dialog] { dialog->close(); }}}));
    dialog->open();
    grid->Grid_View()->setFocus();
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
        else if (key->text().size() == 1 && key->text()[0].unicode() < 128 &&
                 key->text()[0].isPrint())
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
    dialog->setObjectName(QStringLiteral("Usr_Vol"));
    dialog->resize(420, 400);
    Usr_Vol& model = dialog->model;
    // The grid stands in a frame in the dialog: its width is the dialog's less the margins.
    model.grid_width = Twips_Of(dialog->width() - 40, dialog);
    model.Form_Load();
    dialog->setWindowTitle(Usr_Vol::Caption);
    auto* layout = new QVBoxLayout(dialog);
    auto* frame = new QGroupBox(Usr_Vol::Frame_Caption, dialog);
    auto* frame_layout = new QVBoxLayout(frame);
    auto* grid = new Qt_Grid_View(model.MSFlexGrid1, frame);
    grid->setObjectName(QStringLiteral("MSFlexGrid1"));
    grid->Fill_Width();
    grid->installEventFilter(new Volume_Keys(model, grid));
    // Leaving a cell of column 0 shows its running number zero-padded.
    grid->On_Leave_Cell([&model] { model.MSFlexGrid1_LeaveCell(); });
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
    // Enter takes the date, in the calendar as on the buttons.
    for (QPushButton* button : dialog->findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("OK")) {
            button->setDefault(true);
            if (auto* days = calendar->findChild<QAbstractItemView*>())
                days->installEventFilter(new Enter_Clicks(button, days));
        }
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

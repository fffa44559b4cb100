#include "qt/sale_view.h"

#include "base/numbers.h"
#include "base/ports.h"
#include "base/text.h"
#include "browsers/browser_refresh.h"
#include "browsers/sell_ticets.h"
#include "catalogues/date_pickers.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_dates.h"
#include "qt/qt_mdi_form.h"
#include "qt/report_views.h"
#include "reports/rep_reg.h"
#include "tickets/register_ticket.h"
#include "tickets/result_log.h"

#include <QAction>
#include <QApplication>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <array>
#include <memory>
#include <utility>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// A number field: the user types no further than its limit; the program may write any text.
class Number_Field : public QLineEdit {
public:
    Number_Field(int limit, QWidget* parent) : QLineEdit(parent), limit_(limit) {}

protected:
    void keyPressEvent(QKeyEvent* event) override {
        const bool inserts = !event->text().isEmpty() && event->text().at(0).isPrint();
        if (inserts && limit_ > 0 && text().size() - selectedText().size() >= limit_)
            return;
        QLineEdit::keyPressEvent(event);
    }

private:
    int limit_;
};

// "Календарь": the validity of the coupons being sold, shown without waiting for it.
void Open_Validity_Calendar(QWidget* parent, Program_State& state, Clock& clock,
                            Register_ticket& screen) {
    auto* dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QString::fromUtf8(Calendar::Caption));
    auto model = std::make_shared<Calendar>(state, clock, &screen);
    const double today = clock.Today();
    model->Calendar2.value = state.Valid_From != 0 ? state.Valid_From : today;
    model->Calendar1.value = state.Valid_To != 0 ? state.Valid_To : today;

    auto* layout = new QGridLayout(dialog);
    std::array<QCalendarWidget*, 2> calendars{};
    std::array<Month_Calendar*, 2> values{&model->Calendar2, &model->Calendar1};
    const char* frames[2] = {"Действителен с...", "Действителен по..."};
    for (int i = 0; i < 2; ++i) {
        auto* frame = new QGroupBox(QString::fromUtf8(frames[i]), dialog);
        auto* inner = new QVBoxLayout(frame);
        calendars[i] = Russian_Calendar(frame);
        calendars[i]->setSelectedDate(To_QDate(values[i]->value));
        QObject::connect(calendars[i], &QCalendarWidget::selectionChanged, dialog,
                         [calendar = calendars[i], value = values[i]] {
                             value->value = From_QDate(calendar->selectedDate());
                         });
        inner->addWidget(calendars[i]);
        auto* now = new QPushButton(QStringLiteral("Тек. дата"), frame);
        QObject::connect(now, &QPushButton::clicked, dialog, [model, i, calendars] {
            i == 0 ? model->Command3_Click() : model->Command4_Click();
            calendars[i]->setSelectedDate(
                To_QDate(i == 0 ? model->Calendar2.value : model->Calendar1.value));
        });
        inner->addWidget(now);
        layout->addWidget(frame, 0, i);
    }
    auto* buttons = new QHBoxLayout;
    auto* ok = new QPushButton(QStringLiteral("OK"), dialog);
    auto* cancel = new QPushButton(QStringLiteral("Отмена"), dialog);
    QObject::connect(ok, &QPushButton::clicked, dialog, [dialog, model] {
        model->Command1_Click();
        dialog->close();
    });
    QObject::connect(cancel, &QPushButton::clicked, dialog, [dialog, model] {
        model->Command2_Click();
        dialog->close();
    });
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    layout->addLayout(buttons, 1, 0, 1, 2);
    // The screen may go first: the dialog goes with it.
    QObject::connect(parent, &QObject::destroyed, dialog, &QDialog::close);
    dialog->show();
}

class Sale_Window : public QWidget {
public:
    Sale_Window(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                User_Settings& settings, Open_Browsers& browsers);
    ~Sale_Window() override {
        // The grid's view lets go of the model's grid first; the event filter must not look at
        // the view while it is being taken apart.
        Qt_Grid_View* view = grid_;
        grid_ = nullptr;
        delete view;
    }
    Register_ticket& model() { return model_; }
    void Take_Grid_Width() {
        if (layout() != nullptr)
            layout()->activate();
        model_.Set_Grid_Width(
            Qt_Grid_View::Pixels_To_Twips(grid_->viewport()->width(), logicalDpiX()));
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        if (grid_ != nullptr)
            model_.Set_Grid_Width(
                Qt_Grid_View::Pixels_To_Twips(grid_->viewport()->width(), logicalDpiX()));
    }

private:
    void Build();
    void Update_From_Model();
    void Focus_Changed(QWidget* now);
    Sale_Focus Focus_Of(QWidget* widget) const;
    QWidget* Widget_Of(Sale_Focus focus) const;
    void Grid_Menu(QPoint global);

    Qt_MDI_Form& window_;
    Program_State& state_;
    Clock& clock_;
    Register_ticket model_;

    QLabel* buyer_ = nullptr;
    QComboBox* fuels_ = nullptr;
    QComboBox* volumes_ = nullptr;
    std::array<QRadioButton*, Register_ticket::Option_Count> options_{};
    std::array<Number_Field*, Register_ticket::Text_Count> texts_{};
    QListWidget* stations_ = nullptr;
    std::array<QPushButton*, 3> commands_{};
    QWidget* order_ = nullptr;
    QWidget* numbers_ = nullptr;
    QLabel* working_ = nullptr;
    QProgressBar* progress_ = nullptr;
    Qt_Grid_View* grid_ = nullptr;
    bool updating_ = false;
    bool moving_focus_ = false;
    bool check_changed_ = false;
};

Sale_Window::Sale_Window(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                         User_Settings& settings, Open_Browsers& browsers)
    : window_(window), state_(state), clock_(clock), model_(state, ui, clock, settings, browsers) {
    Build();
    model_.Open_Calendar = [this] { Open_Validity_Calendar(this, state_, clock_, model_); };
    model_.On_Change([this] { Update_From_Model(); });
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget*, QWidget* now) { Focus_Changed(now); });
}

void Sale_Window::Build() {
    auto* layout = new QVBoxLayout(this);

    auto* client = new QGroupBox(QStringLiteral("Клиент"), this);
    auto* client_layout = new QHBoxLayout(client);
    buyer_ = new QLabel(client);
    buyer_->setObjectName(QStringLiteral("Label7"));
    client_layout->addWidget(buyer_);
    layout->addWidget(client);

    auto* top = new QHBoxLayout;
    auto* order = new QGroupBox(QStringLiteral("Заказ талонов ГСМ"), this);
    order_ = order;
    auto* order_layout = new QGridLayout(order);
    fuels_ = new QComboBox(order);
    fuels_->setObjectName(QStringLiteral("Combo2"));
    volumes_ = new QComboBox(order);
    volumes_->setObjectName(QStringLiteral("Combo3"));
    order_layout->addWidget(new QLabel(QStringLiteral("Марка ГСМ: "), order), 0, 0);
    order_layout->addWidget(fuels_, 0, 1);
    order_layout->addWidget(new QLabel(QStringLiteral("Объём ГСМ: "), order), 1, 0);
    order_layout->addWidget(volumes_, 1, 1);
    const char* captions[] = {"Срок действия не ограничен",
                              "Действителен с ... по ... ",
                              "Действителен на всех заправках",
                              "Действителен только на выбранных заправках:  ",
                              "Один талон",
                              "Диапазон номеров талонов",
                              "Диапазон номеров талонов"};
    for (int n = 1; n <= Register_ticket::Option_Count; ++n) {
        auto* option = new QRadioButton(QString::fromUtf8(captions[n - 1]), this);
        option->setObjectName(QStringLiteral("Option%1").arg(n));
        option->setAutoExclusive(false);
        connect(option, &QRadioButton::clicked, this, [this, n] {
            model_.Option_Click(n);
            Update_From_Model();
        });
        options_[static_cast<std::size_t>(n - 1)] = option;
    }
    for (int n = 1; n <= 4; ++n)
        order_layout->addWidget(options_[static_cast<std::size_t>(n - 1)], n + 1, 0, 1, 2);
    stations_ = new QListWidget(order);
    stations_->setObjectName(QStringLiteral("ListView1"));
    // Sixteen stations at most: the results below keep the room.
    stations_->setMaximumHeight(fontMetrics().height() * 9);
    order_layout->addWidget(stations_, 6, 0, 1, 2);
    connect(fuels_, &QComboBox::activated, this, [this](int index) { model_.Combo2_Click(index); });
    connect(volumes_, &QComboBox::activated, this,
            [this](int index) { model_.Combo3_Click(index); });
    connect(stations_, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        if (updating_)
            return;
        check_changed_ = true;
        model_.ListView1_ItemCheck(stations_->row(item), item->checkState() == Qt::Checked);
    });
    connect(stations_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        // A click on the box has ticked it already; a click on the row reverses the mark.
        if (!std::exchange(check_changed_, false))
            model_.ListView1_Click(stations_->row(item));
    });
    top->addWidget(order, 1);

    auto* numbers = new QGroupBox(QStringLiteral("Номера талонов"), this);
    numbers_ = numbers;
    auto* numbers_layout = new QGridLayout(numbers);
    for (int n = 1; n <= Register_ticket::Text_Count; ++n) {
        auto* field = new Number_Field(Register_ticket::Max_Length(n), numbers);
        field->setObjectName(QStringLiteral("Text%1").arg(n));
        connect(field, &QLineEdit::textEdited, this,
                [this, n](const QString& text) { model_.Text_Change(n, text.toStdString()); });
        connect(field, &QLineEdit::returnPressed, this,
                [this, n] { model_.Text_KeyPress_Enter(n); });
        texts_[static_cast<std::size_t>(n - 1)] = field;
    }
    numbers_layout->addWidget(options_[4], 0, 0);
    numbers_layout->addWidget(texts_[0], 0, 1);
    numbers_layout->addWidget(options_[5], 1, 0, 1, 2);
    numbers_layout->addWidget(new QLabel(QStringLiteral("Нач. номер"), numbers), 2, 0);
    numbers_layout->addWidget(texts_[1], 2, 1);
    numbers_layout->addWidget(new QLabel(QStringLiteral("Кон. номер"), numbers), 3, 0);
    numbers_layout->addWidget(texts_[2], 3, 1);
    numbers_layout->addWidget(options_[6], 4, 0, 1, 2);
    numbers_layout->addWidget(new QLabel(QStringLiteral("Нач. номер"), numbers), 5, 0);
    numbers_layout->addWidget(texts_[3], 5, 1);
    numbers_layout->addWidget(new QLabel(QStringLiteral("Количество"), numbers), 6, 0);
    numbers_layout->addWidget(texts_[4], 6, 1);
    numbers_layout->setRowStretch(7, 1);
    // A press on a disabled field reaches the frame: the field's option is chosen.
    numbers->installEventFilter(this);
    top->addWidget(numbers, 1);

    auto* buttons = new QVBoxLayout;
    const char* button_captions[] = {"Проверить", "Зарегистрировать заказ", "Отмена"};
    for (int i = 0; i < 3; ++i) {
        commands_[static_cast<std::size_t>(i)] =
            new QPushButton(QString::fromUtf8(button_captions[i]), this);
        commands_[static_cast<std::size_t>(i)]->setObjectName(
            QStringLiteral("Command%1").arg(i + 1));
        buttons->addWidget(commands_[static_cast<std::size_t>(i)]);
    }
    buttons->addStretch();
    // Enter on a button presses it, as on the desk the screen was made for.
    for (QPushButton* button : commands_)
        button->installEventFilter(this);
    connect(commands_[0], &QPushButton::clicked, this, [this] { model_.Command1_Click(); });
    connect(commands_[1], &QPushButton::clicked, this, [this] { model_.Command2_Click(); });
    connect(commands_[2], &QPushButton::clicked, this, [this] {
        if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget()))
            sub->close();
    });
    top->addLayout(buttons);
    layout->addLayout(top);

    auto* result = new QGroupBox(QStringLiteral("Результат(ы) регистрации заказа"), this);
    auto* result_layout = new QVBoxLayout(result);
    working_ = new QLabel(QStringLiteral("Регистрация"), result);
    working_->setObjectName(QStringLiteral("Reglbl"));
    progress_ = new QProgressBar(result);
    progress_->setObjectName(QStringLiteral("RegProg1"));
    progress_->setRange(0, 100);
    grid_ = new Qt_Grid_View(model_.MSFlexGrid2, result);
    grid_->setObjectName(QStringLiteral("MSFlexGrid2"));
    grid_->viewport()->installEventFilter(this);
    result_layout->addWidget(working_);
    result_layout->addWidget(progress_);
    result_layout->addWidget(grid_, 1);
    layout->addWidget(result, 1);
}

void Sale_Window::Update_From_Model() {
    if (updating_)
        return;
    updating_ = true;
    buyer_->setText(Q(model_.Label7));
    auto fill = [](QComboBox* box, const Drop_List& list) {
        if (box->count() != list.Count()) {
            box->clear();
            for (int i = 0; i < list.Count(); ++i)
                box->addItem(Q(list.Item(i)));
        }
        box->setCurrentIndex(list.List_Index());
    };
    fill(fuels_, model_.Combo2);
    fill(volumes_, model_.Combo3);
    options_[1]->setText(Q(model_.Option2_Caption));
    for (int n = 1; n <= Register_ticket::Option_Count; ++n)
        options_[static_cast<std::size_t>(n - 1)]->setChecked(model_.Option(n));
    if (stations_->count() != model_.ListView1.Count()) {
        stations_->clear();
        for (int i = 0; i < model_.ListView1.Count(); ++i) {
            auto* item = new QListWidgetItem(Q(model_.ListView1.Text(i)), stations_);
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        }
    }
    for (int i = 0; i < model_.ListView1.Count(); ++i)
        stations_->item(i)->setCheckState(model_.ListView1.Checked(i) ? Qt::Checked
                                                                      : Qt::Unchecked);
    if (model_.ListView1.List_Index() >= 0)
        stations_->setCurrentRow(model_.ListView1.List_Index());
    stations_->setEnabled(model_.ListView1_Enabled && !model_.Busy());
    for (int n = 1; n <= Register_ticket::Text_Count; ++n) {
        Number_Field* field = texts_[static_cast<std::size_t>(n - 1)];
        if (field->text().toStdString() != model_.Text(n))
            field->setText(Q(model_.Text(n)));
        field->setEnabled(model_.Text_Enabled(n));
    }
    // While a check or a commit runs the screen offers nothing else.
    order_->setEnabled(!model_.Busy());
    numbers_->setEnabled(!model_.Busy());
    for (QPushButton* button : commands_)
        button->setEnabled(!model_.Busy());
    working_->setVisible(model_.Reglbl_Visible);
    progress_->setVisible(model_.RegProg1_Visible);
    progress_->setValue(model_.RegProg1);
    grid_->setVisible(model_.MSFlexGrid2.Visible());
    updating_ = false;

    // The model moved the focus (Enter, a field left): the window follows.
    QWidget* wanted = Widget_Of(model_.Focus());
    if (wanted != nullptr && wanted != QApplication::focusWidget() && wanted->isEnabled() &&
        isVisible()) {
        moving_focus_ = true;
        wanted->setFocus();
        moving_focus_ = false;
    }
}

Sale_Focus Sale_Window::Focus_Of(QWidget* widget) const {
    for (int n = 0; n < Register_ticket::Text_Count; ++n)
        if (widget == texts_[static_cast<std::size_t>(n)])
            return static_cast<Sale_Focus>(static_cast<int>(Sale_Focus::Text1) + n);
    for (int i = 0; i < 3; ++i)
        if (widget == commands_[static_cast<std::size_t>(i)])
            return static_cast<Sale_Focus>(static_cast<int>(Sale_Focus::Command1) + i);
    return Sale_Focus::Other;
}

QWidget* Sale_Window::Widget_Of(Sale_Focus focus) const {
    const int n = static_cast<int>(focus);
    if (focus >= Sale_Focus::Text1 && focus <= Sale_Focus::Text5)
        return texts_[static_cast<std::size_t>(n - static_cast<int>(Sale_Focus::Text1))];
    if (focus >= Sale_Focus::Command1)
        return commands_[static_cast<std::size_t>(n - static_cast<int>(Sale_Focus::Command1))];
    return nullptr;
}

void Sale_Window::Focus_Changed(QWidget* now) {
    if (moving_focus_ || updating_)
        return;
    // Only the focus inside this window counts; the window losing it leaves no field.
    if (now == nullptr || !isAncestorOf(now))
        return;
    const Sale_Focus target = Focus_Of(now);
    if (target == model_.Focus())
        return;
    model_.Focus_To(target);
    Update_From_Model();
}

bool Sale_Window::eventFilter(QObject* watched, QEvent* event) {
    if (grid_ == nullptr)
        return QWidget::eventFilter(watched, event);
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        for (QPushButton* button : commands_)
            if (watched == button && (key == Qt::Key_Return || key == Qt::Key_Enter)) {
                button->click();
                return true;
            }
    }
    if (watched == numbers_ && event->type() == QEvent::MouseButtonPress) {
        const QPoint at = static_cast<QMouseEvent*>(event)->position().toPoint();
        for (int n = 1; n <= Register_ticket::Text_Count; ++n) {
            QWidget* field = texts_[static_cast<std::size_t>(n - 1)];
            if (!field->isEnabled() && field->geometry().contains(at)) {
                model_.Text_Mouse_Down(n);
                return true;
            }
        }
    }
    if (grid_ != nullptr && watched == grid_->viewport() &&
        event->type() == QEvent::MouseButtonDblClick) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        const QModelIndex index = grid_->indexAt(mouse->position().toPoint());
        if (index.isValid()) {
            model_.MSFlexGrid2.Set_Row(index.row() + 1);
            model_.MSFlexGrid2.Set_Col(index.column());
        }
        Grid_Menu(mouse->globalPosition().toPoint());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void Sale_Window::Grid_Menu(QPoint global) {
    QMenu* menu = window_.Context_Menu("mnu_reg_popup_msf");
    if (menu == nullptr)
        return;
    // "Информация" only on a row that names a ticket.
    if (QAction* info = window_.Menu_Action("mnu_reg_popup_msf_Info")) {
        const Menu_Item* item = window_.Model().Find_Item("mnu_reg_popup_msf_Info");
        info->setEnabled(item != nullptr && item->enabled && model_.MSFlexGrid2_DblClick());
    }
    menu->popup(global);
}

// The one sale screen of the main window, while it is open.
class Sale_Controller : public QObject {
public:
    Sale_Controller(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                    User_Settings& settings, Open_Browsers& browsers)
        : QObject(&window), window_(window), state_(state), ui_(ui), clock_(clock),
          settings_(settings), browsers_(browsers) {
        setObjectName(QStringLiteral("sale_view"));
    }

    void Open() {
        if (sub_ != nullptr) {
            sub_->showMaximized();
            window_.Mdi_Area()->setActiveSubWindow(sub_);
            return;
        }
        content_ = new Sale_Window(window_, state_, ui_, clock_, settings_, browsers_);
        sub_ = window_.Mdi_Area()->addSubWindow(content_);
        // Known by address only: events reach the filter while the window is being taken apart.
        connect(sub_, &QObject::destroyed, this, [this] {
            sub_ = nullptr;
            content_ = nullptr;
        });
        sub_->setAttribute(Qt::WA_DeleteOnClose);
        sub_->setWindowTitle(QString::fromUtf8(Register_ticket::Caption));
        sub_->installEventFilter(this);
        sub_->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(sub_);
        // The result grid's columns follow its width: the window is laid out first.
        content_->Take_Grid_Width();
        content_->model().Form_Load();
    }
    // "Информация" of the result grid's menu: the ticket of the current row, of the screen's fuel
    // and volume, named as the buyer browser's grid names the fuel.
    void Information() {
        if (content_ == nullptr)
            return;
        const Register_ticket& model = content_->model();
        const Grid& grid = model.MSFlexGrid2;
        Ticket_Info_Request request;
        request.serial = Trim_Text(grid.Text(grid.Row(), Log_Number_Col));
        request.record_text = grid.Text(grid.Row(), Log_Record_Col);
        request.fuel_slot = model.Fuel_Number();
        request.volume = Leading_Number(model.Combo3.Text());
        if (const Sell_Ticets* buyer = browsers_.Buyer())
            request.fuel_name = buyer->MSFlexGrid1.Text(0, model.Fuel_Number() + 2);
        Open_Ticket_Information(window_, request);
    }
    // "Очистить" of the result grid's menu.
    void Clear_Log() {
        if (content_ != nullptr)
            content_->model().Clear_Log();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Close && watched == sub_ && content_ != nullptr) {
            if (content_->model().Busy()) {
                event->ignore();
                return true;
            }
            content_->model().Form_Unload();
            content_ = nullptr;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    Qt_MDI_Form& window_;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Open_Browsers& browsers_;
    QMdiSubWindow* sub_ = nullptr;
    Sale_Window* content_ = nullptr;
};

} // namespace

void Attach_Sale_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                      User_Settings& user_settings, Open_Browsers& browsers) {
    auto* controller = new Sale_Controller(window, state, ui, clock, user_settings, browsers);
    MDI_Form& form = window.Model();
    form.Set_Command("mnu_popup_sell", [controller] { controller->Open(); });
    form.Set_Command("mnu_reg_popup_msf_New", [controller] { controller->Clear_Log(); });
    form.Set_Command("mnu_reg_popup_msf_Info", [controller] { controller->Information(); });
}

void Open_Sale_Screen(Qt_MDI_Form& window) {
    if (QObject* controller = window.findChild<QObject*>("sale_view"))
        static_cast<Sale_Controller*>(controller)->Open();
}

} // namespace td

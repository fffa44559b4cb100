#include "qt/report_views.h"

#include "base/dates.h"
#include "base/ports.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "catalogues/date_pickers.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/qt_printer.h"
#include "reports/balance_report.h"
#include "reports/browser_statistics.h"
#include "reports/print_layout.h"
#include "reports/report_viewer.h"
#include "reports/statistics.h"

#include <QCalendarWidget>
#include <QDialog>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <memory>

namespace td {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

QDate To_QDate(double date) {
    Calendar_Day day = Date_Parts(date);
    return QDate(day.year, day.month, day.day);
}

double From_QDate(const QDate& date) {
    return Date_Serial(date.year(), date.month(), date.day());
}

int Pixels_To_Twips(int pixels, int dots_per_inch) {
    return dots_per_inch > 0 ? pixels * 1440 / dots_per_inch : pixels * 15;
}

// Cld_Usr, modal: two calendars, the label of the period, OK, "Отмена" and two "Тек. дата".
void Show_Cld_Usr(QWidget* parent, Cld_Usr& model) {
    QDialog dialog(parent);
    dialog.setWindowTitle(Q(Cld_Usr::Caption));
    auto* layout = new QVBoxLayout(&dialog);
    auto* calendars = new QHBoxLayout;
    auto make = [&](Month_Calendar& value) {
        auto* calendar = new QCalendarWidget(&dialog);
        calendar->setLocale(QLocale(QLocale::Russian, QLocale::Russia));
        calendar->setFirstDayOfWeek(Qt::Monday);
        calendar->setSelectedDate(To_QDate(value.value));
        return calendar;
    };
    QCalendarWidget* start = make(model.Calendar2);
    QCalendarWidget* end = make(model.Calendar1);
    calendars->addWidget(start);
    calendars->addWidget(end);
    layout->addLayout(calendars);
    auto* label = new QLabel(&dialog);
    label->setObjectName(QStringLiteral("Label1"));
    layout->addWidget(label);
    auto changed = [&] {
        model.Calendar2.value = From_QDate(start->selectedDate());
        model.Calendar1.value = From_QDate(end->selectedDate());
        model.Calendar_Change();
        label->setText(Q(model.Label1));
    };
    QObject::connect(start, &QCalendarWidget::selectionChanged, &dialog, changed);
    QObject::connect(end, &QCalendarWidget::selectionChanged, &dialog, changed);
    QObject::connect(start, &QCalendarWidget::currentPageChanged, &dialog, changed);
    QObject::connect(end, &QCalendarWidget::currentPageChanged, &dialog, changed);
    changed();
    auto* buttons = new QHBoxLayout;
    auto button = [&](const char* text, auto action) {
        auto* b = new QPushButton(QString::fromUtf8(text), &dialog);
        b->setAutoDefault(false);
        QObject::connect(b, &QPushButton::clicked, &dialog, action);
        buttons->addWidget(b);
        return b;
    };
    button("Тек. дата", [&] {
        model.Command3_Click();
        start->setSelectedDate(To_QDate(model.Calendar2.value));
        changed();
    });
    // Enter takes the period shown.
    button("OK", [&] {
        model.Command1_Click();
        dialog.accept();
    })->setDefault(true);
    button("Отмена", [&] {
        model.Command2_Click();
        dialog.reject();
    });
    button("Тек. дата", [&] {
        model.Command4_Click();
        end->setSelectedDate(To_QDate(model.Calendar1.value));
        changed();
    });
    layout->addLayout(buttons);
    // Closed by its frame: as "Отмена".
    if (dialog.exec() != QDialog::Accepted && !model.closed)
        model.Command2_Click();
}

// One viewer window over its model: title, grid and page scroll bar, status, value labels.
class Report_Window : public QWidget {
public:
    Report_Window(Viewer_Kind kind, Program_State& state, Ui& ui)
        : ui_(ui), model_(kind, state, ui) {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(4, 4, 4, 4);
        title_ = new QLabel(Q(model_.Title_Label), this);
        title_->setObjectName(QStringLiteral("Label1"));
        QFont bold = title_->font();
        bold.setBold(true);
        title_->setFont(bold);
        layout->addWidget(title_);
        auto* middle = new QHBoxLayout;
        view_ = new Qt_Grid_View(model_.MSFlexGrid1, this);
        view_->setObjectName(QStringLiteral("MSFlexGrid1"));
        view_->viewport()->installEventFilter(this);
        view_->installEventFilter(this);
        middle->addWidget(view_, 1);
        scroll_ = new QScrollBar(Qt::Vertical, this);
        scroll_->setObjectName(QStringLiteral("FlatScrollBar1"));
        scroll_->setRange(1, 1);
        scroll_->setPageStep(1); // a click beside the thumb turns one page, as the arrows do
        middle->addWidget(scroll_);
        layout->addLayout(middle, 1);
        const std::vector<std::string> captions = Report_Viewer::Value_Captions(kind);
        if (!captions.empty()) {
            auto* values = new QHBoxLayout;
            for (const std::string& caption : captions) {
                values->addWidget(new QLabel(Q(caption), this));
                auto* value = new QLabel(this);
                value->setFont(bold);
                values->addWidget(value);
                values->addSpacing(24);
                values_.push_back(value);
            }
            values->addStretch(1);
            layout->addLayout(values);
        }
        status_ = new QLabel(this);
        status_->setObjectName(QStringLiteral("Label2"));
        layout->addWidget(status_);

        connect(scroll_, &QScrollBar::valueChanged, this, [this](int value) {
            if (updating_ || scroll_->isSliderDown())
                return;
            model_.Set_Page(value);
            Update();
        });
        connect(scroll_, &QScrollBar::sliderMoved, this, [this](int value) {
            model_.FlatScrollBar1_Scroll(value);
            Update_Status();
        });
        connect(scroll_, &QScrollBar::sliderReleased, this, [this] {
            model_.Set_Page(scroll_->value());
            Update();
        });
    }

    Report_Viewer& Model() { return model_; }
    int Grid_Twips() const {
        // A window just shown hasn't had its layout run: the grid would be measured too narrow.
        if (isVisible())
            layout()->activate();
        return Pixels_To_Twips(std::max(view_->viewport()->width(), 600), logicalDpiX());
    }

    void Update() {
        updating_ = true;
        title_->setText(Q(model_.Title_Label));
        scroll_->setRange(1, model_.Scroll_Max);
        scroll_->setValue(model_.Scroll_Value);
        updating_ = false;
        for (std::size_t i = 0; i < values_.size() && i < model_.Value_Labels.size(); ++i)
            values_[i]->setText(Q(model_.Value_Labels[i]));
        // The grid's top row says where the page shows from: its first row, or a row found.
        view_->Grid_Model().Refresh();
        Update_Status();
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == view_->viewport() && event->type() == QEvent::MouseButtonDblClick) {
            Qt_Printer printer(ui_);
            model_.MSFlexGrid1_DblClick(printer);
            return true;
        }
        if (watched == view_ && event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_F && (key->modifiers() & Qt::ControlModifier) &&
                model_.Kind() != Viewer_Kind::Reports_F) {
                Fast_Find();
                return true;
            }
        }
        return QWidget::eventFilter(watched, event);
    }
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        model_.Set_Column_Widths(Grid_Twips());
        view_->Grid_Model().Refresh();
    }

private:
    void Update_Status() {
        status_->setText(Q(model_.Status_Label));
        scroll_->setToolTip(Q(model_.Scroll_Tooltip));
    }
    // "Поиск": a text box that selects its text on focus and "Найти", which closes it.
    void Fast_Find() {
        QDialog dialog(this);
        dialog.setWindowTitle(QStringLiteral("Поиск"));
        auto* layout = new QHBoxLayout(&dialog);
        auto* text = new QLineEdit(QString::fromStdString(last_search_), &dialog);
        text->selectAll();
        layout->addWidget(text);
        auto* find = new QPushButton(QStringLiteral("Найти"), &dialog);
        find->setDefault(true);
        layout->addWidget(find);
        connect(find, &QPushButton::clicked, &dialog, &QDialog::accept);
        if (dialog.exec() != QDialog::Accepted)
            return;
        last_search_ = text->text().toStdString();
        model_.Search(last_search_);
        Update();
    }

    Ui& ui_;
    Report_Viewer model_;
    QLabel* title_;
    Qt_Grid_View* view_;
    QScrollBar* scroll_;
    QLabel* status_;
    std::vector<QLabel*> values_;
    bool updating_ = false;
    std::string last_search_;
};

// Rep_Reg: the number box (hidden), the label, the grid and three buttons.
class Rep_Reg_Window : public QWidget {
public:
    Rep_Reg_Window(Program_State& state, Ui& ui, Clock& clock) : model_(state, ui, clock) {
        auto* layout = new QVBoxLayout(this);
        label_ = new QLabel(this);
        label_->setObjectName(QStringLiteral("Label1"));
        layout->addWidget(label_);
        view_ = new Qt_Grid_View(model_.MSFlexGrid1, this);
        view_->setObjectName(QStringLiteral("MSFlexGrid1"));
        layout->addWidget(view_, 1);
        auto* buttons = new QHBoxLayout;
        remove_ = new QPushButton(QStringLiteral("Удалить"), this);
        restore_ = new QPushButton(QStringLiteral("Восстановить"), this);
        auto* close = new QPushButton(QStringLiteral("Закрыть"), this);
        buttons->addStretch(1);
        buttons->addWidget(remove_);
        buttons->addWidget(restore_);
        buttons->addWidget(close);
        layout->addLayout(buttons);
        connect(remove_, &QPushButton::clicked, this, [this] { model_.Command1_Click(); });
        connect(restore_, &QPushButton::clicked, this, [this] { model_.Command2_Click(); });
        connect(close, &QPushButton::clicked, this, [this] {
            model_.Command3_Click();
            if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget()))
                sub->close();
        });
    }
    Rep_Reg& Model() { return model_; }
    void Update() {
        label_->setText(Q(model_.Label1));
        remove_->setEnabled(model_.Command1_Enabled);
        restore_->setEnabled(model_.Command2_Enabled);
        // All columns share the width.
        const int columns = model_.MSFlexGrid1.Cols();
        const int twips = Pixels_To_Twips(std::max(view_->viewport()->width(), 600), logicalDpiX());
        for (int c = 0; c < columns; ++c)
            model_.MSFlexGrid1.Set_Column_Width(c, twips / columns);
        view_->Grid_Model().Refresh();
    }

private:
    Rep_Reg model_;
    QLabel* label_;
    Qt_Grid_View* view_;
    QPushButton* remove_;
    QPushButton* restore_;
};

class Report_Controller : public QObject {
public:
    Report_Controller(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                      User_Settings& settings, Open_Browsers& browsers)
        : QObject(&window), window_(window), state_(state), ui_(ui), clock_(clock),
          settings_(settings), browsers_(browsers) {
        setObjectName(QStringLiteral("report_views"));
    }

    void Balance(const char* command_name) {
        const Balance_Command* command = Find_Balance_Command(command_name);
        if (command == nullptr)
            return;
        ui_.Main_Window_Enabled(false);
        ui_.Search_Progress_Show("");
        auto report =
            Run_Balance_Command(state_, clock_, settings_, *command, [this](Cld_Usr& dialog) {
                ui_.Search_Progress_Hide();
                ui_.Main_Window_Enabled(true);
                Show_Cld_Usr(&window_, dialog);
                ui_.Main_Window_Enabled(false);
            });
        ui_.Search_Progress_Hide();
        ui_.Main_Window_Enabled(true);
        if (!report)
            return;
        if (!report->ok) {
            ui_.Message_Box("Отчёт не построен: " + report->screen_failure, box::Stop, "Ошибка");
            return;
        }
        Report_Window* content = Viewer(Viewer_Kind::Reports_F);
        content->Model().Show_Report(report->title, report->title,
                                     static_cast<int>(report->fuel_names.size()) + 1, {},
                                     content->Grid_Twips());
        content->Update();
    }

    void Statistics(bool station, bool period) {
        Stat_Request request;
        if (station) {
            Resolve_Tickets* browser = browsers_.Station();
            if (browser == nullptr)
                return;
            request = Station_Request_From(browser->MSFlexGrid1, period);
        } else {
            Sell_Ticets* browser = browsers_.Buyer();
            if (browser == nullptr)
                return;
            request = Buyer_Request_From(browser->MSFlexGrid1, period);
        }
        auto report = Run_Statistics(state_, clock_, settings_, request,
                                     [this](Cld_Usr& dialog) { Show_Cld_Usr(&window_, dialog); });
        if (!report)
            return;
        Report_Window* content = Viewer(station ? Viewer_Kind::Reports_S : Viewer_Kind::Reports);
        Report_Viewer& model = content->Model();
        model.Value_Labels = report->value_labels;
        model.Show_Report(report->caption, report->title, 10, Ticket_Column_Headers(),
                          content->Grid_Twips());
        content->Update();
    }

    void Ticket_Information(const Ticket_Info_Request& request) {
        if (rep_reg_ == nullptr) {
            auto* content = new Rep_Reg_Window(state_, ui_, clock_);
            rep_reg_ = Add(content, "Информация по талону");
            rep_reg_content_ = content;
        }
        rep_reg_->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(rep_reg_);
        rep_reg_content_->Model().Show_Ticket(request);
        rep_reg_->setWindowTitle(Q(rep_reg_content_->Model().Caption));
        rep_reg_content_->Update();
    }

private:
    QMdiSubWindow* Add(QWidget* content, const char* caption) {
        QMdiSubWindow* sub = window_.Mdi_Area()->addSubWindow(content);
        sub->setAttribute(Qt::WA_DeleteOnClose);
        sub->setWindowTitle(QString::fromUtf8(caption));
        return sub;
    }

    Report_Window* Viewer(Viewer_Kind kind) {
        Open_Viewer& open = viewers_[static_cast<int>(kind)];
        if (open.sub == nullptr) {
            open.content = new Report_Window(kind, state_, ui_);
            open.sub = Add(open.content, "Отчёт за: ");
            open.sub->resize(900, 600);
        }
        open.sub->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(open.sub);
        // The caption follows the model once the report is shown.
        QPointer<QMdiSubWindow> sub = open.sub;
        Report_Window* content = open.content;
        QMetaObject::invokeMethod(
            this,
            [sub, content] {
                if (sub != nullptr)
                    sub->setWindowTitle(Q(content->Model().Caption));
            },
            Qt::QueuedConnection);
        return open.content;
    }

    struct Open_Viewer {
        QPointer<QMdiSubWindow> sub;
        Report_Window* content = nullptr;
    };

    Qt_MDI_Form& window_;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Open_Browsers& browsers_;
    Open_Viewer viewers_[3];
    QPointer<QMdiSubWindow> rep_reg_;
    Rep_Reg_Window* rep_reg_content_ = nullptr;
};

} // namespace

void Attach_Report_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                         User_Settings& settings, Open_Browsers& browsers) {
    auto* controller = new Report_Controller(window, state, ui, clock, settings, browsers);
    MDI_Form& form = window.Model();
    for (const Balance_Command& command : Balance_Commands()) {
        const char* name = command.command;
        form.Set_Command(name, [controller, name] { controller->Balance(name); });
    }
    form.Set_Command("mnu_ptr", [controller] { controller->Balance("mnu_full_report"); });
    form.Set_Command("mnu_popup_Res_stat", [controller] { controller->Statistics(true, false); });
    form.Set_Command("mnu_popup_Res_stat_range",
                     [controller] { controller->Statistics(true, true); });
    form.Set_Command("Mnu_Shop_Range_s", [controller] { controller->Statistics(true, true); });
    form.Set_Command("mnu_popup_user_stat", [controller] { controller->Statistics(false, false); });
    form.Set_Command("mnu_popup_user_stat_range",
                     [controller] { controller->Statistics(false, true); });
}

void Open_Ticket_Information(Qt_MDI_Form& window, const Ticket_Info_Request& request) {
    if (auto* controller = window.findChild<Report_Controller*>(QStringLiteral("report_views")))
        controller->Ticket_Information(request);
}

void Print_Window_Page(QWidget* window, Ui& ui) {
    if (window == nullptr)
        return;
    auto* view = window->findChild<Qt_Grid_View*>(QStringLiteral("MSFlexGrid1"));
    if (view == nullptr)
        return;
    auto* title = window->findChild<QLabel*>(QStringLiteral("Label1"));
    Qt_Printer printer(ui);
    Print_Grid_Page(printer, view->Grid_Model().Model_Grid(),
                    title != nullptr ? title->text().toStdString() : std::string(), 1,
                    Print_Style::Simple);
    printer.End_Document();
}

} // namespace td

#include "qt/browser_views.h"

#include "base/ports.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/cache_passes.h"
#include "kernel/settings.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"

#include <QAction>
#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>
#include <type_traits>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

int Pixels_To_Twips(int pixels, int dots_per_inch) {
    return dots_per_inch > 0 ? pixels * 1440 / dots_per_inch : pixels * 15;
}

// The keys of a browser's own toolbar: key, picture of the main toolbar's image list, tooltip.
struct Window_Key {
    const char* key;
    const char* image;
    const char* tooltip;
};
constexpr Window_Key Window_Keys[] = {
    {"exit", "Exit_1", "exit"},
    {"Sort Ascending", "Sort Ascending", "Сортировка по возрастанию"},
    {"Sort Descending", "Sort Descending", "Сортировка по убыванию"},
    {"Sum", "Sum", "Выровнять ширину столбцов"},
};

class Browser_Controller;

// The content of a browser's child window: its toolbar, the grid and the date label over one
// model. The model lives as long as the window; the grid's view goes first.
template <typename Model> class Browser_Window : public QWidget {
public:
    Browser_Window(Browser_Controller& controller, std::unique_ptr<Model> model);
    ~Browser_Window() override {
        // The view lets go of the grid it shows. The event filter must not look at the view
        // while it is being taken apart.
        Qt_Grid_View* view = view_;
        view_ = nullptr;
        delete view;
    }

    Model& model() { return *model_; }
    Qt_Grid_View* View() const { return view_; }
    // On a desk where the columns were never set (no widths kept yet) the window starts with
    // them evened out, as the "Sum" key does, rather than at the narrow default.
    void First_Widths(User_Settings& settings) {
        const char* prefix = std::is_same_v<Model, Sell_Ticets> ? "SlTsC" : "RsTsC";
        if (!settings.Get(Settings_Application, "Windows", std::string(prefix) + "1", "").empty())
            return;
        // The names first get the room they need, up to two fifths of the grid.
        const int name_col = std::is_same_v<Model, Sell_Ticets> ? 2 : 0;
        view_->Grid_Model().Refresh();
        int width = std::max(static_cast<QAbstractItemView*>(view_)->sizeHintForColumn(name_col),
                             view_->horizontalHeader()->sectionSizeHint(name_col)) +
                    8;
        width = std::min(width, view_->viewport()->width() * 2 / 5);
        model_->MSFlexGrid1.Set_Column_Width(name_col, Pixels_To_Twips(width, logicalDpiX()));
        model_->Set_Grid_Width(Pixels_To_Twips(view_->viewport()->width(), logicalDpiX()));
        model_->Morvo_GLOBAL("Sum");
    }
    // The date label shows what the model last wrote.
    void Update_Label() { label_->setText(Q(model_->Label1)); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Grid_Released(Qt::MouseButton button, QPoint global);
    void Width_From_View(int col, int pixels);

    Browser_Controller& controller_;
    std::unique_ptr<Model> model_;
    Qt_Grid_View* view_;
    QLabel* label_;
};

class Browser_Controller : public QObject, public Browser_Shell {
public:
    Browser_Controller(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                       User_Settings& settings, Open_Browsers& browsers)
        : QObject(&window), window_(window), state_(state), ui_(ui), clock_(clock),
          settings_(settings), browsers_(browsers) {
        setObjectName(QStringLiteral("browser_views"));
        connect(window.Mdi_Area(), &QMdiArea::subWindowActivated, this,
                [this](QMdiSubWindow* sub) { Activated(sub); });
    }

    // Browser_Shell: the sort menu and the two sort buttons of the main toolbar go together.
    void Sort_Menu_Visible(bool visible) override { Sort_Available(visible); }
    void Sort_Buttons_Enabled(bool enabled) override { Sort_Available(enabled); }

    void Open_Buyer();
    // `for_current_date`: mnu_Shop_Cur_date, the totals of the working date brought up first.
    void Open_Station(bool for_current_date);
    void Sort(bool ascending);
    void Working_Date() { window_.Model().Menu_Click("mnu_Services_Current_date"); }
    Qt_MDI_Form& Window() { return window_; }

protected:
    // Close of a browser's child window: Form_Unload and out of the registry, before the window
    // and its model go.
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Close)
            if (auto* sub = qobject_cast<QMdiSubWindow*>(watched))
                Closing(sub);
        return QObject::eventFilter(watched, event);
    }

private:
    template <typename Model> friend class Browser_Window;

    void Sort_Available(bool available) {
        if (window_.Model().Sort_Available() != available)
            window_.Model().Browser_Active(available);
    }
    QMdiSubWindow* Add_Window(QWidget* content, const char* caption);
    void Activated(QMdiSubWindow* sub);
    void Deactivate(QMdiSubWindow* sub);
    void Closing(QMdiSubWindow* sub);

    Qt_MDI_Form& window_;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Open_Browsers& browsers_;
    QPointer<QMdiSubWindow> buyer_sub_;
    QPointer<QMdiSubWindow> station_sub_;
    Browser_Window<Sell_Ticets>* buyer_ = nullptr;
    Browser_Window<Resolve_Tickets>* station_ = nullptr;
    QPointer<QMdiSubWindow> active_;
};

template <typename Model>
Browser_Window<Model>::Browser_Window(Browser_Controller& controller, std::unique_ptr<Model> model)
    : controller_(controller), model_(std::move(model)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);

    auto* bar = new QToolBar(this);
    bar->setObjectName(QStringLiteral("Toolbar1"));
    bar->setIconSize(QSize(20, 20));
    for (const Window_Key& key : Window_Keys) {
        QAction* action = bar->addAction(Qt_MDI_Form::Image(key.image), QString());
        action->setObjectName(Q(key.key));
        action->setToolTip(Q(key.tooltip));
        std::string name = key.key;
        connect(action, &QAction::triggered, this, [this, name] {
            model_->Set_Grid_Width(Pixels_To_Twips(view_->viewport()->width(), logicalDpiX()));
            if (model_->Morvo_GLOBAL(name) == Toolbar_Result::Close_Window)
                if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget()))
                    sub->close();
        });
    }
    layout->addWidget(bar);

    view_ = new Qt_Grid_View(model_->MSFlexGrid1, this);
    view_->setObjectName(QStringLiteral("MSFlexGrid1"));
    view_->viewport()->installEventFilter(this);
    view_->horizontalHeader()->viewport()->installEventFilter(this);
    view_->installEventFilter(this);
    connect(view_->horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int col, int, int pixels) { Width_From_View(col, pixels); });
    layout->addWidget(view_, 1);

    label_ = new QLabel(this);
    label_->setObjectName(QStringLiteral("Label1"));
    label_->installEventFilter(this);
    layout->addWidget(label_);
}

template <typename Model> void Browser_Window<Model>::Width_From_View(int col, int pixels) {
    // Widths the view applies from the grid come back here too: only a real change is written.
    Grid& grid = model_->MSFlexGrid1;
    if (col >= grid.Cols())
        return;
    int dpi = logicalDpiX();
    if (Qt_Grid_View::Twips_To_Pixels(grid.Column_Width(col), dpi) == pixels)
        return;
    grid.Set_Column_Width(col, Pixels_To_Twips(pixels, dpi));
}

template <typename Model> void Browser_Window<Model>::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    model_->Set_Grid_Width(Pixels_To_Twips(view_->viewport()->width(), logicalDpiX()));
    model_->Form_Resize();
}

template <typename Model> bool Browser_Window<Model>::eventFilter(QObject* watched, QEvent* event) {
    if (view_ == nullptr)
        return QWidget::eventFilter(watched, event);
    if (watched == label_ && event->type() == QEvent::MouseButtonDblClick) {
        controller_.Working_Date();
        return true;
    }
    if (watched == view_->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        if constexpr (std::is_same_v<Model, Sell_Ticets>) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            QModelIndex index = view_->indexAt(mouse->position().toPoint());
            if (index.isValid()) {
                model_->MSFlexGrid1.Set_Row(index.row() + 1);
                model_->MSFlexGrid1.Set_Col(index.column());
            }
            model_->MSFlexGrid1_DblClick();
            return true;
        }
    }
    if ((watched == view_->viewport() || watched == view_->horizontalHeader()->viewport()) &&
        event->type() == QEvent::MouseButtonRelease) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (watched == view_->viewport()) {
            QModelIndex index = view_->indexAt(mouse->position().toPoint());
            if (index.isValid()) {
                model_->MSFlexGrid1.Set_Row(index.row() + 1);
                model_->MSFlexGrid1.Set_Col(index.column());
                Grid_Released(mouse->button(), mouse->globalPosition().toPoint());
            }
        }
        model_->MSFlexGrid1_MouseUp();
    }
    if (watched == view_ && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if constexpr (std::is_same_v<Model, Sell_Ticets>) {
            if ((key->modifiers() & Qt::ControlModifier) && key->key() >= Qt::Key_0 &&
                key->key() <= Qt::Key_9) {
                model_->Key_Ctrl_Digit(key->key() - Qt::Key_0);
                return true;
            }
        }
    }
    return QWidget::eventFilter(watched, event);
}

template <typename Model>
void Browser_Window<Model>::Grid_Released(Qt::MouseButton button, QPoint global) {
    // The click goes to the model either way; the popup comes with the right button.
    Qt_MDI_Form& window = controller_.Window();
    const MDI_Form& form = window.Model();
    auto enable = [&](const char* name, bool allowed) {
        const Menu_Item* item = form.Find_Item(name);
        if (QAction* action = window.Menu_Action(name))
            action->setEnabled(item != nullptr && item->enabled && allowed);
    };
    QMenu* menu = nullptr;
    bool show = false;
    if constexpr (std::is_same_v<Model, Sell_Ticets>) {
        Buyer_Popup popup = model_->MSFlexGrid1_Click();
        show = popup.show;
        menu = window.Context_Menu("mnu_popup");
        enable("mnu_popup_sell", true);
        enable("mnu_popup_release_sell", true);
        enable("mnu_set_curr_date_sell", true);
        enable("mnu_popup_user_stat", popup.enable_statistics);
        enable("mnu_popup_user_stat_range", popup.enable_statistics);
    } else {
        Station_Popup popup = model_->MSFlexGrid1_Click();
        show = popup.show;
        menu = window.Context_Menu("mnu_popup_resolve");
        enable("mnu_popup_release", true);
        enable("mnu_set_curr_date_shop", true);
        enable("mnu_popup_Res_stat", popup.mnu_popup_Res_stat);
        enable("mnu_popup_Res_stat_range", popup.mnu_popup_Res_stat_range);
    }
    if (show && button == Qt::RightButton && menu != nullptr)
        menu->popup(global);
}

QMdiSubWindow* Browser_Controller::Add_Window(QWidget* content, const char* caption) {
    QMdiSubWindow* sub = window_.Mdi_Area()->addSubWindow(content);
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->setWindowTitle(QString::fromUtf8(caption));
    sub->installEventFilter(this);
    connect(sub, &QObject::destroyed, this, [this, sub] {
        if (active_ == nullptr || active_ == sub)
            active_ = nullptr;
    });
    return sub;
}

void Browser_Controller::Open_Buyer() {
    if (buyer_sub_ != nullptr) {
        buyer_sub_->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(buyer_sub_);
        return;
    }
    auto model = std::make_unique<Sell_Ticets>(state_, ui_, clock_, settings_, this);
    auto* content = new Browser_Window<Sell_Ticets>(*this, std::move(model));
    Sell_Ticets& buyer = content->model();
    if (!buyer.Form_Load()) {
        delete content;
        return;
    }
    content->Update_Label();
    buyer_ = content;
    buyer_sub_ = Add_Window(content, Sell_Ticets::Caption);
    QPointer<QMdiSubWindow> sub = buyer_sub_;
    browsers_.Set_Buyer(&buyer, [this, sub] {
        if (sub != nullptr && buyer_ != nullptr) {
            // The picker writes the label after bringing the window forward: shown once it's done.
            auto* content = buyer_;
            QTimer::singleShot(0, content, [content] { content->Update_Label(); });
            window_.Mdi_Area()->setActiveSubWindow(sub);
        }
    });
    buyer_sub_->showMaximized();
    window_.Mdi_Area()->setActiveSubWindow(buyer_sub_);
    content->View()->setFocus();
    content->First_Widths(settings_);
}

void Browser_Controller::Open_Station(bool for_current_date) {
    Sell_Ticets* buyer = buyer_ != nullptr ? &buyer_->model() : nullptr;
    if (station_sub_ != nullptr) {
        if (for_current_date) {
            Rebuild_Station_Totals(state_, ui_, clock_, state_.Current_Date, state_.Current_Date,
                                   Progress_Target::Form);
            ui_.Main_Window_Enabled(true);
            station_->model().Refresh_Data(state_.Current_Date);
            station_->Update_Label();
        }
        station_sub_->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(station_sub_);
        return;
    }
    auto model = std::make_unique<Resolve_Tickets>(state_, ui_, clock_, settings_, this);
    auto* content = new Browser_Window<Resolve_Tickets>(*this, std::move(model));
    Resolve_Tickets& station = content->model();
    if (for_current_date)
        Open_Stations_For_Current_Date(state_, ui_, clock_, station, buyer);
    else
        station.Form_Load(buyer);
    if (buyer_ != nullptr)
        buyer_->Update_Label(); // the opening may bring the buyer's date along
    content->Update_Label();
    station_ = content;
    station_sub_ = Add_Window(content, Resolve_Tickets::Caption);
    QPointer<QMdiSubWindow> sub = station_sub_;
    browsers_.Set_Station(&station, [this, sub] {
        if (sub != nullptr && station_ != nullptr) {
            // The picker writes the label after bringing the window forward: shown once it's done.
            auto* content = station_;
            QTimer::singleShot(0, content, [content] { content->Update_Label(); });
            window_.Mdi_Area()->setActiveSubWindow(sub);
        }
    });
    station_sub_->showMaximized();
    window_.Mdi_Area()->setActiveSubWindow(station_sub_);
    content->View()->setFocus();
    content->First_Widths(settings_);
}

void Browser_Controller::Sort(bool ascending) {
    QMdiSubWindow* sub = active_;
    if (sub == nullptr)
        return;
    if (sub == buyer_sub_ && buyer_ != nullptr)
        ascending ? buyer_->model().Sort_Asc() : buyer_->model().Sort_Des();
    else if (sub == station_sub_ && station_ != nullptr)
        ascending ? station_->model().Sort_Asc() : station_->model().Sort_Des();
}

void Browser_Controller::Deactivate(QMdiSubWindow* sub) {
    if (sub == nullptr)
        return;
    if (sub == buyer_sub_ && buyer_ != nullptr)
        buyer_->model().Form_Deactivate();
    else if (sub == station_sub_ && station_ != nullptr)
        station_->model().Form_Deactivate();
}

void Browser_Controller::Activated(QMdiSubWindow* sub) {
    // The whole program going to the background is no change of the child in front.
    if (sub == nullptr && !window_.isActiveWindow() && active_ != nullptr && active_->isVisible())
        return;
    if (sub == active_)
        return;
    Deactivate(active_);
    active_ = sub;
    if (sub == nullptr)
        return;
    if (sub == buyer_sub_ && buyer_ != nullptr)
        buyer_->model().Form_Activate();
    else if (sub == station_sub_ && station_ != nullptr)
        station_->model().Form_Activate();
}

void Browser_Controller::Closing(QMdiSubWindow* sub) {
    if (sub == active_)
        active_ = nullptr; // Form_Unload takes the sort menu and buttons away
    if (sub == buyer_sub_ && buyer_ != nullptr) {
        buyer_->model().Form_Unload();
        browsers_.Set_Buyer(nullptr);
        buyer_ = nullptr;
    } else if (sub == station_sub_ && station_ != nullptr) {
        station_->model().Form_Unload();
        browsers_.Set_Station(nullptr);
        station_ = nullptr;
    }
}

} // namespace

void Attach_Browser_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                          User_Settings& user_settings, Open_Browsers& browsers) {
    auto* controller = new Browser_Controller(window, state, ui, clock, user_settings, browsers);
    MDI_Form& form = window.Model();
    form.Set_Command("mnu_Sell_Tickets", [controller] { controller->Open_Buyer(); });
    form.Set_Command("tb:Продажа таллонов", [controller] { controller->Open_Buyer(); });
    form.Set_Command("tb:Списание таллонов", [controller] { controller->Open_Station(false); });
    form.Set_Command("mnu_Shop_Cur_date", [controller] { controller->Open_Station(true); });
    form.Set_Command("mnu_sort_acd", [controller] { controller->Sort(true); });
    form.Set_Command("mnu_sort_desc", [controller] { controller->Sort(false); });
    form.Set_Command("mnu_set_curr_date_sell", [controller] { controller->Working_Date(); });
    form.Set_Command("mnu_set_curr_date_shop", [controller] { controller->Working_Date(); });
}

void Open_Buyer_Browser(Qt_MDI_Form& window) {
    if (QObject* controller = window.findChild<QObject*>("browser_views"))
        static_cast<Browser_Controller*>(controller)->Open_Buyer();
}

void Open_Station_Browser(Qt_MDI_Form& window) {
    if (QObject* controller = window.findChild<QObject*>("browser_views"))
        static_cast<Browser_Controller*>(controller)->Open_Station(false);
}

} // namespace td

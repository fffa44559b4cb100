#include "qt/browser_views.h"

#include "base/ports.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"

#include <QAction>
#include <QEvent>
#include <QFontMetrics>
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
#include <functional>
#include <memory>

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
class Browser_Window : public QWidget {
public:
    Browser_Window(Browser_Controller& controller, std::unique_ptr<Browser_Frame> model);
    ~Browser_Window() override {
        // The view lets go of the grid it shows. The event filter must not look at the view
        // while it is being taken apart.
        Qt_Grid_View* view = view_;
        view_ = nullptr;
        delete view;
    }

    Browser_Frame& model() { return *model_; }
    Qt_Grid_View* View() const { return view_; }
    // Widths for a desk that never kept any: codes and names as wide as their texts need, the
    // model decides the rest.
    void First_Widths() {
        if (model_->Widths_Kept())
            return;
        view_->Grid_Model().Refresh();
        const QFontMetrics metrics(view_->font());
        std::vector<Browser_Frame::Column_Width> widths;
        for (const Browser_Frame::Fitted_Column& fitted : model_->First_Layout_Texts()) {
            const int col = fitted.col;
            int pixels = std::max(static_cast<QAbstractItemView*>(view_)->sizeHintForColumn(col),
                                  view_->horizontalHeader()->sectionSizeHint(col));
            pixels = std::max(pixels, metrics.horizontalAdvance(Q(fitted.widest)) + 12);
            widths.push_back({col, Pixels_To_Twips(pixels + 8, logicalDpiX())});
        }
        model_->First_Widths(widths, Grid_Twips());
    }
    // The date label shows what the model last wrote.
    void Update_Label() { label_->setText(Q(model_->Label1)); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int Grid_Twips() const { return Pixels_To_Twips(view_->viewport()->width(), logicalDpiX()); }
    // The grid's current cell follows the mouse.
    void Cell_At(QMouseEvent* mouse);
    void Grid_Released(Qt::MouseButton button, QPoint global);
    void Width_From_View(int col, int pixels);

    Browser_Controller& controller_;
    std::unique_ptr<Browser_Frame> model_;
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
        buyer_.enlist = [this](bool open, std::function<void()> show) {
            browsers_.Set_Buyer(open ? buyer_model_ : nullptr, std::move(show));
            if (!open)
                buyer_model_ = nullptr;
        };
        station_.enlist = [this](bool open, std::function<void()> show) {
            browsers_.Set_Station(open ? station_model_ : nullptr, std::move(show));
            if (!open)
                station_model_ = nullptr;
        };
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
    // One browser's child window while it is open.
    struct Open_Window {
        QPointer<QMdiSubWindow> sub;
        Browser_Window* content = nullptr;
        // In or out of the registry the working date picker reaches, with what brings it forward.
        std::function<void(bool open, std::function<void()> show)> enlist;
    };

    void Sort_Available(bool available) {
        if (window_.Model().Sort_Available() != available)
            window_.Model().Browser_Active(available);
    }
    Browser_Frame* Model_Of(QMdiSubWindow* sub);
    // A loaded browser into a new child window, registered, maximised, in front, with the focus.
    void Add_Window(Open_Window& open, Browser_Window* content, const char* caption);
    // What the working date picker calls to bring the window forward.
    std::function<void()> Bring_Forward(Open_Window& open);
    void Show(Open_Window& open);
    void Activated(QMdiSubWindow* sub);
    void Closing(QMdiSubWindow* sub);

    Qt_MDI_Form& window_;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& settings_;
    Open_Browsers& browsers_;
    Open_Window buyer_;
    Open_Window station_;
    Sell_Ticets* buyer_model_ = nullptr;
    Resolve_Tickets* station_model_ = nullptr;
    QPointer<QMdiSubWindow> active_;
};

Browser_Window::Browser_Window(Browser_Controller& controller, std::unique_ptr<Browser_Frame> model)
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
            model_->Set_Grid_Width(Grid_Twips());
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

void Browser_Window::Width_From_View(int col, int pixels) {
    // Widths the view applies from the grid come back here too: only a real change is written.
    Grid& grid = model_->MSFlexGrid1;
    if (col >= grid.Cols())
        return;
    int dpi = logicalDpiX();
    if (Qt_Grid_View::Twips_To_Pixels(grid.Column_Width(col), dpi) == pixels)
        return;
    grid.Set_Column_Width(col, Pixels_To_Twips(pixels, dpi));
}

void Browser_Window::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    model_->Set_Grid_Width(Grid_Twips());
    model_->Form_Resize();
}

void Browser_Window::Cell_At(QMouseEvent* mouse) {
    QModelIndex index = view_->indexAt(mouse->position().toPoint());
    if (index.isValid()) {
        model_->MSFlexGrid1.Set_Row(index.row() + 1);
        model_->MSFlexGrid1.Set_Col(index.column());
    }
}

bool Browser_Window::eventFilter(QObject* watched, QEvent* event) {
    if (view_ == nullptr)
        return QWidget::eventFilter(watched, event);
    if (watched == label_ && event->type() == QEvent::MouseButtonDblClick) {
        controller_.Working_Date();
        return true;
    }
    if (watched == view_->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        Cell_At(static_cast<QMouseEvent*>(event));
        if (model_->Double_Click())
            return true;
    }
    if ((watched == view_->viewport() || watched == view_->horizontalHeader()->viewport()) &&
        event->type() == QEvent::MouseButtonRelease) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (watched == view_->viewport() && view_->indexAt(mouse->position().toPoint()).isValid()) {
            Cell_At(mouse);
            Grid_Released(mouse->button(), mouse->globalPosition().toPoint());
        }
        model_->MSFlexGrid1_MouseUp();
    }
    if (watched == view_ && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if ((key->modifiers() & Qt::ControlModifier) && key->key() >= Qt::Key_0 &&
            key->key() <= Qt::Key_9 && model_->Ctrl_Digit(key->key() - Qt::Key_0))
            return true;
    }
    return QWidget::eventFilter(watched, event);
}

void Browser_Window::Grid_Released(Qt::MouseButton button, QPoint global) {
    // A click with either button: the model decides on the entries and whether the popup comes
    // up, at the mouse pointer.
    if (button != Qt::LeftButton && button != Qt::RightButton)
        return;
    Qt_MDI_Form& window = controller_.Window();
    const Browser_Popup popup = model_->Popup_For_Click();
    for (const Popup_Entry& entry : popup.entries)
        window.Model().Allow_Item(entry.name, entry.allowed);
    QMenu* menu = window.Context_Menu(popup.menu);
    if (popup.show && menu != nullptr)
        menu->popup(global);
}

Browser_Frame* Browser_Controller::Model_Of(QMdiSubWindow* sub) {
    if (sub == nullptr)
        return nullptr;
    for (Open_Window* open : {&buyer_, &station_})
        if (sub == open->sub && open->content != nullptr)
            return &open->content->model();
    return nullptr;
}

std::function<void()> Browser_Controller::Bring_Forward(Open_Window& open) {
    QPointer<QMdiSubWindow> sub = open.sub;
    return [this, &open, sub] {
        if (sub != nullptr && open.content != nullptr) {
            // The picker writes the label after bringing the window forward: shown once it's done.
            auto* content = open.content;
            QTimer::singleShot(0, content, [content] { content->Update_Label(); });
            window_.Mdi_Area()->setActiveSubWindow(sub);
        }
    };
}

void Browser_Controller::Add_Window(Open_Window& open, Browser_Window* content,
                                    const char* caption) {
    open.content = content;
    QMdiSubWindow* sub = window_.Mdi_Area()->addSubWindow(content);
    sub->setAttribute(Qt::WA_DeleteOnClose);
    sub->setWindowTitle(QString::fromUtf8(caption));
    sub->installEventFilter(this);
    connect(sub, &QObject::destroyed, this, [this, sub] {
        if (active_ == nullptr || active_ == sub)
            active_ = nullptr;
    });
    open.sub = sub;
    open.enlist(true, Bring_Forward(open));
    Show(open);
    content->View()->setFocus();
    content->First_Widths();
}

void Browser_Controller::Show(Open_Window& open) {
    if (open.sub == nullptr)
        return;
    open.sub->showMaximized();
    window_.Mdi_Area()->setActiveSubWindow(open.sub);
}

void Browser_Controller::Open_Buyer() {
    if (buyer_.content != nullptr) {
        Show(buyer_);
        return;
    }
    auto model = std::make_unique<Sell_Ticets>(state_, ui_, clock_, settings_, this);
    Sell_Ticets& buyer = *model;
    auto* content = new Browser_Window(*this, std::move(model));
    if (!buyer.Form_Load()) {
        delete content;
        return;
    }
    content->Update_Label();
    buyer_model_ = &buyer;
    Add_Window(buyer_, content, Sell_Ticets::Caption);
}

void Browser_Controller::Open_Station(bool for_current_date) {
    // A window being closed counts as closed: its model is gone.
    const bool opening = station_.content == nullptr;
    Browser_Window* content = station_.content;
    if (opening) {
        auto model = std::make_unique<Resolve_Tickets>(state_, ui_, clock_, settings_, this);
        station_model_ = model.get();
        content = new Browser_Window(*this, std::move(model));
    }
    Resolve_Tickets& station = *station_model_;
    if (for_current_date)
        Open_Stations_For_Current_Date(state_, ui_, clock_, station, buyer_model_);
    else if (opening)
        station.Form_Load(buyer_model_);
    if (buyer_.content != nullptr)
        buyer_.content->Update_Label(); // the opening may bring the buyer's date along
    content->Update_Label();
    if (!opening) {
        Show(station_);
        return;
    }
    Add_Window(station_, content, Resolve_Tickets::Caption);
}

void Browser_Controller::Sort(bool ascending) {
    if (Browser_Frame* model = Model_Of(active_))
        ascending ? model->Sort_Asc() : model->Sort_Des();
}

void Browser_Controller::Activated(QMdiSubWindow* sub) {
    // The whole program going to the background is no change of the child in front.
    if (sub == nullptr && !window_.isActiveWindow() && active_ != nullptr && active_->isVisible())
        return;
    if (sub == active_)
        return;
    if (Browser_Frame* model = Model_Of(active_))
        model->Form_Deactivate();
    active_ = sub;
    if (Browser_Frame* model = Model_Of(sub))
        model->Form_Activate();
}

void Browser_Controller::Closing(QMdiSubWindow* sub) {
    if (sub == active_)
        active_ = nullptr; // Form_Unload takes the sort menu and buttons away
    for (Open_Window* open : {&buyer_, &station_}) {
        if (sub != open->sub || open->content == nullptr)
            continue;
        open->content->model().Form_Unload();
        open->enlist(false, {});
        open->content = nullptr;
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

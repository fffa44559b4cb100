#include "qt/shop_view.h"

#include "base/numbers.h"
#include "base/text.h"
#include "browsers/browser_refresh.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/report_views.h"
#include "reports/rep_reg.h"
#include "tickets/result_log.h"
#include "tickets/shop.h"

#include <QAction>
#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

int Pixels_To_Twips(int pixels, int dots_per_inch) {
    return dots_per_inch > 0 ? pixels * 1440 / dots_per_inch : pixels * 15;
}

// The screen's content: widgets that show the model and forward what the user does.
class Shop_Window : public QWidget {
public:
    Shop_Window(Qt_MDI_Form& main, Program_State& state, Ui& ui, Clock& clock,
                Open_Browsers& browsers);
    ~Shop_Window() override {
        // The views let go of the grids first; the filter must not look at them meanwhile.
        Qt_Grid_View* list = list_;
        Qt_Grid_View* result = result_;
        list_ = result_ = nullptr;
        delete list;
        delete result;
    }

    Shop& Model() { return model_; }
    void Load();
    // The grids' widths as laid out on screen, for the model to size their columns from.
    void Widths();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Sync();
    bool List_Key(QKeyEvent* key, bool pressed);
    void Close_Window();

    Qt_MDI_Form& main_;
    Shop model_;
    QListWidget* stations_;
    QLabel* label7_;
    QComboBox* combo2_;
    QComboBox* combo3_;
    QGroupBox* frame_;
    Qt_Grid_View* list_;
    Qt_Grid_View* result_;
    QPushButton* command1_;
    QPushButton* command2_;
    QPushButton* command3_;
    bool syncing_ = false;
};

Shop_Window::Shop_Window(Qt_MDI_Form& main, Program_State& state, Ui& ui, Clock& clock,
                         Open_Browsers& browsers)
    : main_(main), model_(state, ui, clock, browsers) {
    auto* layout = new QHBoxLayout(this);
    auto* left = new QVBoxLayout;
    layout->addLayout(left, 2);
    auto* right = new QVBoxLayout;
    layout->addLayout(right, 3);

    auto* station_box = new QGroupBox(QStringLiteral("Заправка"), this);
    auto* station_layout = new QVBoxLayout(station_box);
    stations_ = new QListWidget(station_box);
    stations_->setObjectName(QStringLiteral("ListView1"));
    station_layout->addWidget(stations_);
    label7_ = new QLabel(station_box);
    label7_->setObjectName(QStringLiteral("Label7"));
    station_layout->addWidget(label7_);
    left->addWidget(station_box, 1);

    auto* lists = new QHBoxLayout;
    lists->addWidget(new QLabel(QStringLiteral("Марка ГСМ: "), this));
    combo2_ = new QComboBox(this);
    combo2_->setObjectName(QStringLiteral("Combo2"));
    lists->addWidget(combo2_, 1);
    lists->addWidget(new QLabel(QStringLiteral("Талон/Литры:"), this));
    combo3_ = new QComboBox(this);
    combo3_->setObjectName(QStringLiteral("Combo3"));
    lists->addWidget(combo3_, 1);
    left->addLayout(lists);

    frame_ = new QGroupBox(this);
    auto* frame_layout = new QVBoxLayout(frame_);
    list_ = new Qt_Grid_View(model_.MSFlexGrid1, frame_);
    list_->setObjectName(QStringLiteral("MSFlexGrid1"));
    list_->installEventFilter(this);
    list_->viewport()->installEventFilter(this);
    frame_layout->addWidget(list_);
    left->addWidget(frame_, 2);

    result_ = new Qt_Grid_View(model_.MSFlexGrid2, this);
    result_->setObjectName(QStringLiteral("MSFlexGrid2"));
    result_->viewport()->installEventFilter(this);
    right->addWidget(result_, 1);
    auto* buttons = new QHBoxLayout;
    command1_ = new QPushButton(QStringLiteral("Проверить"), this);
    command1_->setObjectName(QStringLiteral("Command1"));
    command2_ = new QPushButton(QStringLiteral("Списать талон"), this);
    command2_->setObjectName(QStringLiteral("Command2"));
    command3_ = new QPushButton(QStringLiteral("Отмена"), this);
    command3_->setObjectName(QStringLiteral("Command3"));
    for (QPushButton* button : {command1_, command2_, command3_})
        buttons->addWidget(button);
    right->addLayout(buttons);

    connect(stations_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (!syncing_)
            model_.ListView1_ItemClick(stations_->row(item));
    });
    connect(combo2_, &QComboBox::activated, this, [this](int index) {
        if (!syncing_)
            model_.Combo2_Click(index);
    });
    connect(combo3_, &QComboBox::activated, this, [this](int index) {
        if (!syncing_)
            model_.Combo3_Click(index);
    });
    connect(command1_, &QPushButton::clicked, this, [this] {
        Widths();
        model_.Command1_Click();
    });
    connect(command2_, &QPushButton::clicked, this, [this] {
        Widths();
        model_.Command2_Click();
    });
    connect(command3_, &QPushButton::clicked, this, [this] { Close_Window(); });
    model_.On_Change([this] { Sync(); });
}

void Shop_Window::Load() {
    Widths();
    model_.Form_Load();
    syncing_ = true;
    combo2_->clear();
    for (int i = 0; i < model_.Combo2.Count(); ++i)
        combo2_->addItem(Q(model_.Combo2.Item(i)));
    combo3_->clear();
    for (int i = 0; i < model_.Combo3.Count(); ++i)
        combo3_->addItem(Q(model_.Combo3.Item(i)));
    stations_->clear();
    for (int e = 0; e < model_.ListView1.Count(); ++e) {
        auto* item = new QListWidgetItem(QIcon(Qt_MDI_Form::Image("View Details")),
                                         Q(model_.ListView1.Text(e)), stations_);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
    }
    syncing_ = false;
    Sync();
}

void Shop_Window::Sync() {
    if (syncing_)
        return;
    syncing_ = true;
    for (int e = 0; e < stations_->count() && e < model_.ListView1.Count(); ++e) {
        QListWidgetItem* item = stations_->item(e);
        item->setCheckState(model_.ListView1.Checked(e) ? Qt::Checked : Qt::Unchecked);
        item->setSelected(e == model_.ListView1.List_Index());
    }
    label7_->setText(Q(model_.Label7));
    combo2_->setCurrentIndex(model_.Combo2.List_Index());
    combo3_->setCurrentIndex(model_.Combo3.List_Index());
    frame_->setTitle(Q(model_.Frame_Caption));
    const bool idle = !model_.Busy();
    command1_->setEnabled(idle);
    command2_->setEnabled(idle);
    syncing_ = false;
}

void Shop_Window::Widths() {
    // A hidden window, or one not laid out yet, would give the widths of no real grid.
    if (list_ == nullptr || !isVisible())
        return;
    layout()->activate();
    model_.Set_Grid_Widths(Pixels_To_Twips(list_->viewport()->width(), logicalDpiX()),
                           Pixels_To_Twips(result_->viewport()->width(), logicalDpiX()));
}

void Shop_Window::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Widths();
}

void Shop_Window::Close_Window() {
    if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget()))
        sub->close();
}

bool Shop_Window::List_Key(QKeyEvent* key, bool pressed) {
    const Grid& grid = model_.MSFlexGrid1;
    if (!pressed) {
        if (key->isAutoRepeat())
            return true;
        model_.MSFlexGrid1_KeyUp(key->key() == Qt::Key_Insert   ? List_Key::Insert
                                 : key->key() == Qt::Key_Delete ? List_Key::Delete
                                                                : List_Key::Other);
        return true;
    }
    switch (key->key()) {
    case Qt::Key_Backspace:
        model_.MSFlexGrid1_KeyPress(Shop::Key_Backspace);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        model_.MSFlexGrid1_KeyPress(Shop::Key_Enter);
        return true;
    case Qt::Key_Up:
        model_.MSFlexGrid1_Move_To(grid.Row() - 1, grid.Col());
        return true;
    case Qt::Key_Down:
        model_.MSFlexGrid1_Move_To(grid.Row() + 1, grid.Col());
        return true;
    case Qt::Key_Left:
        model_.MSFlexGrid1_Move_To(grid.Row(), grid.Col() - 1);
        return true;
    case Qt::Key_Right:
        model_.MSFlexGrid1_Move_To(grid.Row(), grid.Col() + 1);
        return true;
    case Qt::Key_Insert:
    case Qt::Key_Delete:
        return true; // they act on their release
    default:
        break;
    }
    const QString text = key->text();
    if (!text.isEmpty() && text.at(0).isPrint())
        model_.MSFlexGrid1_KeyPress(text.at(0).unicode());
    return true;
}

bool Shop_Window::eventFilter(QObject* watched, QEvent* event) {
    if (list_ == nullptr || result_ == nullptr)
        return QWidget::eventFilter(watched, event);
    if (watched == list_) {
        switch (event->type()) {
        case QEvent::KeyPress:
            return List_Key(static_cast<QKeyEvent*>(event), true);
        case QEvent::KeyRelease:
            return List_Key(static_cast<QKeyEvent*>(event), false);
        case QEvent::FocusIn:
            model_.MSFlexGrid1_GotFocus();
            break;
        case QEvent::FocusOut:
            if (static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason)
                model_.MSFlexGrid1_LostFocus();
            break;
        default:
            break;
        }
    }
    if (watched == list_->viewport()) {
        if (event->type() == QEvent::MouseButtonPress) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            const QModelIndex index = list_->indexAt(mouse->position().toPoint());
            list_->setFocus(Qt::MouseFocusReason);
            if (index.isValid())
                model_.MSFlexGrid1_Move_To(index.row() + 1, index.column());
            return true;
        }
        if (event->type() == QEvent::MouseButtonDblClick) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            if (QMenu* menu = main_.Context_Menu("mnu_shop_popup_cls_main"))
                menu->popup(mouse->globalPosition().toPoint());
            return true;
        }
    }
    if (watched == result_->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        const QModelIndex index = result_->indexAt(mouse->position().toPoint());
        if (index.isValid()) {
            model_.MSFlexGrid2.Set_Row(index.row() + 1);
            model_.MSFlexGrid2.Set_Col(index.column());
        }
        const MDI_Form& form = main_.Model();
        const Menu_Item* info = form.Find_Item("mnu_shop_popup_msf_Info");
        if (QAction* action = main_.Menu_Action("mnu_shop_popup_msf_Info"))
            action->setEnabled(info != nullptr && info->enabled && model_.MSFlexGrid2_DblClick());
        if (QMenu* menu = main_.Context_Menu("mnu_shop_popup_msf"))
            menu->popup(mouse->globalPosition().toPoint());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

// One screen at a time, opened from the browsers' menus.
class Shop_Controller : public QObject {
public:
    Shop_Controller(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                    Open_Browsers& browsers)
        : QObject(&window), window_(window), state_(state), ui_(ui), clock_(clock),
          browsers_(browsers) {
        setObjectName(QStringLiteral("shop_view"));
    }

    void Open() {
        if (sub_ != nullptr) {
            sub_->showMaximized();
            window_.Mdi_Area()->setActiveSubWindow(sub_);
            return;
        }
        auto* content = new Shop_Window(window_, state_, ui_, clock_, browsers_);
        QMdiSubWindow* sub = window_.Mdi_Area()->addSubWindow(content);
        sub->setAttribute(Qt::WA_DeleteOnClose);
        sub->setWindowTitle(QString::fromUtf8(Shop::Caption));
        sub->installEventFilter(this);
        sub_ = sub;
        content_ = content;
        sub->showMaximized();
        window_.Mdi_Area()->setActiveSubWindow(sub);
        content->Load();
    }
    Shop* Model() { return content_ != nullptr ? &content_->Model() : nullptr; }
    // The model about to lay a grid out, with the widths on screen.
    Shop* Measured_Model() {
        if (content_ == nullptr)
            return nullptr;
        content_->Widths();
        return &content_->Model();
    }
    Open_Browsers& Browsers() { return browsers_; }
    Program_State& State() { return state_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Close && watched == sub_ && content_ != nullptr) {
            content_->Model().Form_Unload();
            content_ = nullptr;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    Qt_MDI_Form& window_;
    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    Open_Browsers& browsers_;
    QPointer<QMdiSubWindow> sub_;
    Shop_Window* content_ = nullptr;
};

} // namespace

void Attach_Shop_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                      Open_Browsers& browsers) {
    auto* controller = new Shop_Controller(window, state, ui, clock, browsers);
    MDI_Form& form = window.Model();
    // The fuel comes along from the column the browser stands on.
    form.Set_Command("mnu_popup_release_sell", [controller] {
        if (const Sell_Ticets* buyer = controller->Browsers().Buyer())
            controller->State().Redemption_Column = buyer->MSFlexGrid1.Col() - 3;
        controller->Open();
    });
    form.Set_Command("mnu_popup_release", [controller] {
        if (const Resolve_Tickets* station = controller->Browsers().Station())
            controller->State().Redemption_Column = station->MSFlexGrid1.Col() - 1;
        controller->Open();
    });
    form.Set_Command("mnu_shop_popup_cls", [controller] {
        if (Shop* shop = controller->Measured_Model())
            shop->Clear_List();
    });
    form.Set_Command("mnu_shop_popup_msf_New", [controller] {
        if (Shop* shop = controller->Measured_Model())
            shop->Clear_Log();
    });
    // "Информация": the ticket of the result row, of the screen's fuel and volume, named as the
    // station browser's grid names the fuel.
    form.Set_Command("mnu_shop_popup_msf_Info", [controller, &window] {
        const Shop* shop = controller->Model();
        if (shop == nullptr)
            return;
        const Grid& grid = shop->MSFlexGrid2;
        Ticket_Info_Request request;
        request.serial = Trim_Text(grid.Text(grid.Row(), Log_Number_Col));
        request.record_text = grid.Text(grid.Row(), Log_Record_Col);
        request.fuel_slot = shop->Fuel_Number();
        request.volume = Leading_Number(shop->Combo3.Text());
        if (const Resolve_Tickets* station = controller->Browsers().Station())
            request.fuel_name = station->MSFlexGrid1.Text(0, shop->Fuel_Number());
        Open_Ticket_Information(window, request);
    });
}

void Open_Shop(Qt_MDI_Form& window) {
    if (QObject* controller = window.findChild<QObject*>("shop_view"))
        static_cast<Shop_Controller*>(controller)->Open();
}

} // namespace td

#include "qt/qt_mdi_form.h"

#include "kernel/settings.h"
#include "kernel/state.h"
#include "qt/program_icon.h"
#include "qt/qt_views.h"
#include "qt/report_views.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QPainter>
#include <QPointer>
#include <QProcess>
#include <QStatusBar>
#include <QStyle>
#include <QTimer>
#include <QToolBar>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// A toolbar picture drawn from a glyph, for the images that the style doesn't offer.
QIcon Glyph_Icon(const QString& glyph, QColor colour) {
    QPixmap picture(24, 24);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(60, 60, 60), 1));
    painter.setBrush(QColor(250, 250, 245));
    painter.drawRoundedRect(QRectF(2.5, 2.5, 19, 19), 3, 3);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(glyph.size() > 1 ? 10 : 15);
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(QRectF(2, 2, 20, 20), Qt::AlignCenter, glyph);
    return QIcon(picture);
}

QIcon Printer_Icon() {
    QPixmap picture(24, 24);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setPen(QColor(50, 50, 50));
    painter.setBrush(Qt::white);
    painter.drawRect(7, 3, 10, 7); // paper in
    painter.setBrush(QColor(150, 150, 160));
    painter.drawRect(3, 9, 18, 8); // body
    painter.setBrush(Qt::white);
    painter.drawRect(7, 14, 10, 7); // paper out
    painter.drawLine(9, 17, 15, 17);
    return QIcon(picture);
}

QIcon Magnifier_Icon() {
    QPixmap picture(24, 24);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(60, 60, 60), 3, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(14, 14), QPointF(21, 21));
    painter.setPen(QPen(QColor(40, 40, 40), 2));
    painter.setBrush(QColor(200, 225, 250));
    painter.drawEllipse(QPointF(10, 10), 6.5, 6.5);
    return QIcon(picture);
}

QIcon Report_Icon() {
    QPixmap picture(24, 24);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setPen(QColor(60, 60, 60));
    painter.setBrush(Qt::white);
    painter.drawRect(5, 2, 14, 19);
    painter.setPen(QColor(30, 80, 160));
    for (int y = 6; y <= 17; y += 3)
        painter.drawLine(8, y, 16, y);
    return QIcon(picture);
}

// Pictures for the keys of the toolbar's image list.
QIcon Toolbar_Icon(const std::string& image, QStyle* style) {
    if (image == "CRDFLE07")
        return Glyph_Icon(QStringLiteral("П"), QColor(20, 90, 160));
    if (image == "CLIP07")
        return Glyph_Icon(QStringLiteral("С"), QColor(170, 60, 20));
    if (image == "Up One Level")
        return style->standardIcon(QStyle::SP_FileDialogToParent);
    if (image == "View Details")
        return Report_Icon();
    if (image == "Sum")
        return Glyph_Icon(QStringLiteral("Σ"), QColor(30, 110, 40));
    if (image == "Print")
        return Printer_Icon();
    if (image == "FILES04")
        return style->standardIcon(QStyle::SP_DialogOpenButton);
    if (image == "Sort Ascending")
        return Glyph_Icon(QStringLiteral("А↓"), QColor(20, 20, 120));
    if (image == "Sort Descending")
        return Glyph_Icon(QStringLiteral("Я↓"), QColor(20, 20, 120));
    if (image == "Find")
        return Magnifier_Icon();
    if (image == "Help")
        return Glyph_Icon(QStringLiteral("?"), QColor(20, 60, 170));
    if (image == "Exit_1")
        return Glyph_Icon(QStringLiteral("×"), QColor(190, 20, 20));
    return Glyph_Icon(QStringLiteral("31"), QColor(170, 30, 30)); // the working date
}

QLabel* Status_Panel_Label(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFrameShape(QFrame::Panel);
    label->setFrameShadow(QFrame::Sunken);
    label->setContentsMargins(4, 0, 4, 0);
    return label;
}

} // namespace

Qt_MDI_Form::Qt_MDI_Form(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
                         QWidget* parent)
    : QMainWindow(parent), state_(state), ui_(ui), model_(state, ui, clock, user_settings, *this) {
    setObjectName("MDI_Form");
    Use_Program_Icon();
    area_ = new QMdiArea(this);
    area_->setObjectName("MDIClient");
    area_->setBackground(QColor(128, 128, 128));
    setCentralWidget(area_);

    Build_Menus();
    Build_Toolbar();
    status_[0] = Status_Panel_Label(statusBar());
    status_[1] = Status_Panel_Label(statusBar());
    status_[0]->setObjectName("Panel1");
    status_[1]->setObjectName("Panel2");
    statusBar()->addWidget(status_[0], 1);
    statusBar()->addWidget(status_[1], 0);
    statusBar()->setSizeGripEnabled(true);

    // Every child shown comes to the front at least once: from then on its closing is watched.
    connect(area_, &QMdiArea::subWindowActivated, this, [this](QMdiSubWindow* child) {
        if (child != nullptr)
            child->installEventFilter(this);
    });
    model_.On_Change([this] { Update_From_Model(); });
    model_.MDIForm_Load();
    Update_From_Model();
    resize(1000, 700);
}

Qt_MDI_Form::~Qt_MDI_Form() {
    model_.On_Change({});
}

void Qt_MDI_Form::Fill_Menu(QMenu* menu, const std::vector<Menu_Item>& items) {
    for (const Menu_Item& item : items) {
        QAction* action = item.separator ? menu->addSeparator() : menu->addAction(Q(item.caption));
        action->setObjectName(Q(item.name));
        actions_[item.name] = action;
        if (!item.separator) {
            std::string name = item.name;
            connect(action, &QAction::triggered, this, [this, name] { model_.Menu_Click(name); });
        }
    }
}

void Qt_MDI_Form::Build_Menus() {
    for (const Top_Menu& top : model_.Menus()) {
        QMenu* menu = menuBar()->addMenu(Q(top.caption));
        menu->setObjectName(Q(top.name));
        menus_[top.name] = menu;
        Fill_Menu(menu, top.items);
    }
    for (const td::Context_Menu& popup : model_.Context_Menus()) {
        auto* menu = new QMenu(this);
        menu->setObjectName(Q(popup.name));
        context_menus_[popup.name] = menu;
        Fill_Menu(menu, popup.items);
    }
}

void Qt_MDI_Form::Build_Toolbar() {
    toolbar_ = addToolBar(QStringLiteral("tbToolBar"));
    toolbar_->setObjectName("tbToolBar");
    toolbar_->setMovable(false);
    toolbar_->setIconSize(QSize(24, 24));
    for (const Toolbar_Button& button : model_.Buttons()) {
        QAction* action = toolbar_->addAction(Toolbar_Icon(button.image, style()), Q(button.key));
        action->setToolTip(Q(button.tooltip));
        action->setData(Q(button.key));
        action->setObjectName(Q("tb:" + button.key));
        buttons_[button.key] = action;
        std::string key = button.key;
        connect(action, &QAction::triggered, this,
                [this, key] { model_.tbToolBar_ButtonClick(key); });
        // The tool set falls into groups, as on the original bar.
        if (button.key == "Списание таллонов" || button.key == "Остатки" ||
            button.key == "Импорт" || button.key == "Сортировка по убыванию" ||
            button.key == "Помощь")
            toolbar_->addSeparator();
    }
}

void Qt_MDI_Form::Update_From_Model() {
    setWindowTitle(Q(model_.Caption()));
    status_[0]->setText(Q(model_.Status_Panel(1)));
    status_[1]->setText(Q(model_.Status_Panel(2)));
    for (const Top_Menu& top : model_.Menus()) {
        menus_[top.name]->menuAction()->setVisible(top.visible);
        for (const Menu_Item& item : top.items)
            actions_[item.name]->setEnabled(item.enabled || item.separator);
    }
    for (const td::Context_Menu& popup : model_.Context_Menus())
        for (const Menu_Item& item : popup.items)
            actions_[item.name]->setEnabled(item.enabled || item.separator);
    for (const Toolbar_Button& button : model_.Buttons())
        buttons_[button.key]->setEnabled(button.enabled);
}

QAction* Qt_MDI_Form::Menu_Action(const std::string& name) const {
    auto found = actions_.find(name);
    return found == actions_.end() ? nullptr : found->second;
}

QMenu* Qt_MDI_Form::Top_Menu_Of(const std::string& name) const {
    auto found = menus_.find(name);
    return found == menus_.end() ? nullptr : found->second;
}

QAction* Qt_MDI_Form::Button(const std::string& key) const {
    auto found = buttons_.find(key);
    return found == buttons_.end() ? nullptr : found->second;
}

QMenu* Qt_MDI_Form::Context_Menu(const std::string& name) const {
    auto found = context_menus_.find(name);
    return found == context_menus_.end() ? nullptr : found->second;
}

QIcon Qt_MDI_Form::Image(const std::string& key) {
    return Toolbar_Icon(key, QApplication::style());
}

QLabel* Qt_MDI_Form::Status_Label(int panel) const {
    return panel >= 1 && panel <= 2 ? status_[panel - 1] : nullptr;
}

void Qt_MDI_Form::closeEvent(QCloseEvent* event) {
    if (model_.MDIForm_QueryUnload())
        event->ignore();
    else
        event->accept(); // the unload path runs once the event loop is over
}

bool Qt_MDI_Form::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Close)
        if (auto* child = qobject_cast<QMdiSubWindow*>(watched))
            Child_Closing(child);
    return QMainWindow::eventFilter(watched, event);
}

// The closing child's focus would pass to the next widget of the focus chain, which can lie in
// any other child, and that child would come to the front.
void Qt_MDI_Form::Child_Closing(QMdiSubWindow* child) {
    if (child != area_->activeSubWindow())
        return;
    QPointer<QMdiSubWindow> before;
    const QList<QMdiSubWindow*> history = area_->subWindowList(QMdiArea::ActivationHistoryOrder);
    for (auto it = history.rbegin(); it != history.rend() && before == nullptr; ++it)
        if (*it != child && (*it)->isVisible())
            before = *it;
    if (before == nullptr)
        return;
    QPointer<QMdiSubWindow> closing = child;
    QTimer::singleShot(0, this, [this, before, closing] {
        // A close that was refused leaves the child where it was.
        if (before != nullptr && (closing == nullptr || !closing->isVisible()))
            area_->setActiveSubWindow(before);
    });
}

void Qt_MDI_Form::Arrange(Arrange_Mode mode) {
    QList<QMdiSubWindow*> windows;
    for (QMdiSubWindow* window : area_->subWindowList(QMdiArea::CreationOrder))
        if (window->isVisible() && !window->isMinimized())
            windows.append(window);
    QRect space = area_->viewport()->rect();
    switch (mode) {
    case Arrange_Mode::Cascade:
        area_->cascadeSubWindows();
        return;
    case Arrange_Mode::Tile_Horizontal:
    case Arrange_Mode::Tile_Vertical: {
        // Horizontal tiling lays the children in bands one above the other; vertical, side by side.
        int count = static_cast<int>(windows.size());
        for (int i = 0; i < count; ++i) {
            QMdiSubWindow* window = windows[i];
            if (window->isMaximized())
                window->showNormal();
            if (mode == Arrange_Mode::Tile_Horizontal) {
                int band = space.height() / count;
                window->setGeometry(0, i * band, space.width(), band);
            } else {
                int band = space.width() / count;
                window->setGeometry(i * band, 0, band, space.height());
            }
        }
        return;
    }
    case Arrange_Mode::Icons: {
        // Minimised children line up along the bottom edge.
        int x = 0;
        for (QMdiSubWindow* window : area_->subWindowList(QMdiArea::CreationOrder)) {
            if (!window->isMinimized())
                continue;
            QSize size = window->size();
            if (x > 0 && x + size.width() > space.width())
                x = 0;
            window->move(x, space.height() - size.height());
            x += size.width();
        }
        return;
    }
    }
}

void Qt_MDI_Form::Open_Dialog(QDialog* dialog) {
    if (blocking_) {
        dialog->exec();
        delete dialog;
    } else {
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->open();
    }
}

void Qt_MDI_Form::Show_About() {
    Open_Dialog(new Qt_About(state_, *this, this));
}

void Qt_MDI_Form::Show_Eggs() {
    // Eggs comes up over the About box that opened it.
    QWidget* parent = findChild<Qt_About*>();
    Open_Dialog(new Qt_Eggs(state_, ui_, *this, parent != nullptr ? parent : this));
}

void Qt_MDI_Form::Show_Raw_DB_Edit() {
    if (raw_editor_)
        raw_editor_();
}

std::string Qt_MDI_Form::Active_Child_Caption() {
    QMdiSubWindow* active = area_->activeSubWindow();
    return active == nullptr ? "" : active->windowTitle().toStdString();
}

// The window in front prints its page: its grid and title found by name.
void Qt_MDI_Form::Print_Active_Page() {
    if (QMdiSubWindow* active = area_->activeSubWindow())
        Print_Window_Page(active->widget(), ui_);
}

bool Qt_MDI_Form::Start_Program(const std::string& path, long& error_number,
                                std::string& error_description) {
    QString program = Q(Translate_Path(path, state_.Program_Folder));
    QFileInfo info(program);
    if (!info.isFile()) {
        error_number = 53;
        error_description = "File not found";
        return false;
    }
    if (!info.isExecutable() || !QProcess::startDetached(program, {}, info.absolutePath())) {
        error_number = 5;
        error_description = "Invalid procedure call or argument";
        return false;
    }
    return true;
}

} // namespace td

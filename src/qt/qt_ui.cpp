#include "qt/qt_ui.h"

#include "kernel/errorscreen.h"
#include "kernel/state.h"
#include "qt/qt_views.h"
#include "qt/test_hooks.h"
#include "shell/mdi_form.h"

#include <QApplication>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <cstdio>
#include <cstdlib>

namespace td {
namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

QMessageBox::Icon Icon_Of(int flags) {
    switch (flags & 0x70) {
    case box::Stop:
        return QMessageBox::Critical;
    case box::Question:
        return QMessageBox::Question;
    case box::Warning:
        return QMessageBox::Warning;
    case box::Information:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

QMessageBox::StandardButtons Buttons_Of(int flags) {
    switch (flags & 0x7) {
    case 1:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case 3:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case box::Yes_No:
        return QMessageBox::Yes | QMessageBox::No;
    default:
        return QMessageBox::Ok;
    }
}

} // namespace

int Box_Answer_Of(int standard_button) {
    switch (standard_button) {
    case QMessageBox::Yes:
        return box::Answer_Yes;
    case QMessageBox::No:
        return box::Answer_No;
    case QMessageBox::Cancel:
        return 2;
    default:
        return box::Answer_Ok;
    }
}

Qt_Ui::Qt_Ui() = default;
Qt_Ui::~Qt_Ui() {
    delete progress_.data();
}

void Qt_Ui::Set_Main_Window(QMainWindow* window, QMdiArea* area) {
    main_window_ = window;
    mdi_area_ = area;
}

void Qt_Ui::Set_Auto_Answers(std::deque<int> answers) {
    auto_answer_ = true;
    answers_ = std::move(answers);
}

QWidget* Qt_Ui::Box_Parent() const {
    if (QWidget* active = QApplication::activeModalWidget())
        return active;
    if (main_window_ != nullptr && main_window_->isVisible())
        return main_window_;
    return nullptr;
}

int Qt_Ui::Message_Box(const std::string& text, int flags, const std::string& title) {
    bool yes_no = (flags & 0x7) == box::Yes_No;
    if (auto_answer_) {
        int answer = box::Answer_Ok;
        if (yes_no) {
            answer = answers_.empty() ? box::Answer_Yes : answers_.front();
            if (answers_.size() > 1)
                answers_.pop_front();
        }
        hooks::Log("box " + std::to_string(flags) + " " + title + " | " + text);
        return answer;
    }
    // A box without a title of its own carries the program's title.
    QMessageBox message(Icon_Of(flags), title.empty() ? QString(App_Title) : Q(title), Q(text),
                        Buttons_Of(flags), Box_Parent());
    message.setObjectName("MsgBox");
    if (yes_no)
        message.setEscapeButton(QMessageBox::No);
    // The splash stays on screen during start-up; the box goes in front of it.
    message.setWindowFlag(Qt::WindowStaysOnTopHint, splash_ != nullptr && splash_->isVisible());
    return Box_Answer_Of(message.exec());
}

void Qt_Ui::Show_Fatal_Screen(const std::string& module_path, const std::string& code) {
    if (auto_answer_) {
        hooks::Log("fatal " + code + " | " + module_path);
        End_Process(Errorscreen::Exit_Code);
    }
    Errorscreen model(State(), *this);
    model.Set_Report(module_path, code);
    Qt_Errorscreen screen(model, Box_Parent());
    screen.exec();
}

Qt_Splash* Qt_Ui::Splash() {
    if (!splash_) {
        splash_ = std::make_unique<Qt_Splash>();
        splash_->show();
    }
    return splash_.get();
}

void Qt_Ui::Splash_Caption(const std::string& caption) {
    Qt_Splash* splash = Splash();
    splash->Model().Set_Caption(caption);
    splash->Update_From_Model();
    splash->repaint();
    QCoreApplication::processEvents();
}

void Qt_Ui::Splash_Progress(int value) {
    Qt_Splash* splash = Splash();
    splash->Model().Set_Progress(value);
    splash->Update_From_Model();
    QCoreApplication::processEvents();
}

void Qt_Ui::Splash_Modal_Wait() {
    Splash()->Modal_Wait(!auto_answer_);
    splash_.reset();
}

void Qt_Ui::Search_Progress_Show(const std::string& label) {
    if (!progress_)
        progress_ = new Qt_Search_Progress(main_window_);
    progress_->Set_Label(Q(label));
    progress_->show();
    progress_->raise();
    progress_->activateWindow();
    progress_->repaint();
}

void Qt_Ui::Search_Progress_Set(int value) {
    if (!progress_)
        return;
    progress_->Set_Value(value);
    progress_->repaint();
}

void Qt_Ui::Search_Progress_Hide() {
    if (progress_)
        progress_->hide();
}

QWidget* Qt_Ui::Search_Progress_Form() const {
    return progress_.data();
}

QWidget* Qt_Ui::Splash_Form() const {
    return splash_.get();
}

void Qt_Ui::Main_Window_Enabled(bool enabled) {
    if (main_window_ == nullptr)
        return;
    if (!enabled && main_window_->isEnabled())
        focus_before_disable_ = QApplication::focusWidget();
    main_window_->setEnabled(enabled);
    if (enabled) {
        Focus_Front_Child();
        main_window_->activateWindow();
    }
}

// Disabling the main window takes the focus from it. Activated again without a focus widget, it
// would give the focus to the first child window in the focus chain, and that child would come
// to the front over the one the user works in.
void Qt_Ui::Focus_Front_Child() {
    if (mdi_area_ == nullptr)
        return;
    QMdiSubWindow* front = mdi_area_->activeSubWindow();
    if (front == nullptr) {
        const QList<QMdiSubWindow*> order =
            mdi_area_->subWindowList(QMdiArea::ActivationHistoryOrder);
        if (!order.isEmpty())
            front = order.last();
    }
    if (front == nullptr || front->widget() == nullptr)
        return;
    auto takes_focus = [](const QWidget* widget) {
        return widget->isVisible() && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus);
    };
    QWidget* target = focus_before_disable_;
    if (target == nullptr || !front->isAncestorOf(target) || !takes_focus(target)) {
        target = nullptr;
        for (QWidget* child : front->widget()->findChildren<QWidget*>())
            if (takes_focus(child)) {
                target = child;
                break;
            }
    }
    if (target != nullptr)
        target->setFocus(Qt::OtherFocusReason);
    else
        front->setFocus(Qt::OtherFocusReason);
}

void Qt_Ui::Pump_Events() {
    QCoreApplication::processEvents();
}

void Qt_Ui::Close_All_Children() {
    if (mdi_area_ == nullptr)
        return;
    // From the last to the first; the main window itself is never among them.
    QList<QMdiSubWindow*> children = mdi_area_->subWindowList(QMdiArea::CreationOrder);
    for (auto it = children.rbegin(); it != children.rend(); ++it)
        (*it)->close();
}

void Qt_Ui::End_Process(int exit_code) {
    if (before_end_)
        before_end_();
    std::fflush(nullptr);
    // Every change is on disk already; nothing of the toolkit needs tearing down.
    std::_Exit(exit_code);
}

} // namespace td

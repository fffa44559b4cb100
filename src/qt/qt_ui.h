// The Ui port on Qt Widgets: message boxes, the splash during start-up, the modeless progress
// form, enabling the main window, the event pump, the fatal screen and the end of the process.
#pragma once

#include "base/ports.h"

#include <QPointer>
#include <deque>
#include <functional>
#include <memory>

class QMainWindow;
class QMdiArea;
class QWidget;

namespace td {

class Qt_Splash;
class Qt_Search_Progress;

class Qt_Ui : public Ui {
public:
    Qt_Ui();
    ~Qt_Ui() override;

    int Message_Box(const std::string& text, int flags, const std::string& title) override;
    void Show_Fatal_Screen(const std::string& module_path, const std::string& code) override;
    void Splash_Caption(const std::string& caption) override;
    void Splash_Progress(int value) override;
    void Search_Progress_Show(const std::string& label) override;
    void Search_Progress_Set(int value) override;
    void Search_Progress_Hide() override;
    void Main_Window_Enabled(bool enabled) override;
    void Pump_Events() override;
    void Close_All_Children() override;
    [[noreturn]] void End_Process(int exit_code) override;

    void Set_Main_Window(QMainWindow* window, QMdiArea* area);
    // Run just before the process ends (the instance lock is let go there).
    void Set_Before_End(std::function<void()> action) { before_end_ = std::move(action); }
    // Boxes are answered from this list instead of being shown (the last answer repeats).
    void Set_Auto_Answers(std::deque<int> answers);

    // The end of start-up: the splash, its bar full, waits modally for its timer, a key or a
    // click, then goes.
    void Splash_Modal_Wait();

    QWidget* Search_Progress_Form() const;
    // The splash while start-up runs; null before and after.
    QWidget* Splash_Form() const;

private:
    Qt_Splash* Splash();
    QWidget* Box_Parent() const;
    // The child window in front takes the focus back, before the main window is activated.
    void Focus_Front_Child();

    QMainWindow* main_window_ = nullptr;
    QMdiArea* mdi_area_ = nullptr;
    std::unique_ptr<Qt_Splash> splash_;
    // Owned by the main window it belongs to, once there is one; gone with it.
    QPointer<Qt_Search_Progress> progress_;
    std::function<void()> before_end_;
    bool auto_answer_ = false;
    std::deque<int> answers_;
    QPointer<QWidget> focus_before_disable_;
};

// Flags of a box to its icon and buttons; the button pressed to the answer.
int Box_Answer_Of(int standard_button);

} // namespace td

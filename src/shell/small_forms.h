// The three small screens of the shell: the splash during start-up, the About box and the
// authors' note behind it.
#pragma once

#include <string>

namespace td {

struct Program_State;
class Ui;
class Shell_Views;

// "1.0.1": major, minor and revision of the program.
std::string Version_Number();

class frmSplash {
public:
    static constexpr const char* Starting_Text = "Starting application...";
    static constexpr const char* Core_Line = "Создана на основе ядра CS III";
    // How long the splash stays after start-up when nobody clicks it.
    static constexpr int Timer_Interval = 1500;

    void Form_Load();
    const std::string& Version_Label() const { return version_label_; }
    const std::string& Caption() const { return caption_; }
    int Progress() const { return progress_; }
    bool Timer_Enabled() const { return timer_enabled_; }
    bool Closed() const { return closed_; }

    // Driven by start-up.
    void Set_Caption(const std::string& caption) { caption_ = caption; }
    void Set_Progress(int value);
    // The end of start-up: bar full, timer on; the view then shows the splash modally.
    void Loading_Complete();

    // A key, a mouse press on the form or its frame, or the timer: the splash goes.
    void Form_KeyPress() { closed_ = true; }
    void Form_MouseDown() { closed_ = true; }
    void Timer1_Timer();

private:
    std::string version_label_;
    std::string caption_;
    int progress_ = 0;
    bool timer_enabled_ = false;
    bool closed_ = false;
};

class frmAbout {
public:
    static constexpr const char* Caption = "О программе 'Tally depot'";
    static constexpr const char* Title = "Tally depot";
    static constexpr int Key_F9 = 120;
    static constexpr int Alt_Mask = 4;

    frmAbout(const Program_State& state, Shell_Views& views) : state_(state), views_(views) {}

    void Form_Load();
    const std::string& Version_Label() const { return version_label_; }
    const std::string& User_Label() const { return user_label_; }
    const std::string& Company_Label() const { return company_label_; }
    // Alt+F9 on key-up opens Eggs.
    void Form_KeyUp(int key_code, int shift);

private:
    const Program_State& state_;
    Shell_Views& views_;
    std::string version_label_;
    std::string user_label_;
    std::string company_label_;
};

class Eggs {
public:
    static constexpr const char* Text =
        "Вот такая получилась программа. Что тут сказать? Разве что принести извинения за "
        "возможные большие и маленькие ошибки. Хотя мы и разрабатывали эту программу из расчёта "
        "операций с 10 000 - 20 000 талонами, как  оказалось позже их ожидается около 150 000, что "
        "в принципе привело к переработке ядра системы практически на финальной стадии. Что из "
        "этого получилось, я считаю, и так видно. Нажмите 'Next' для прямого редактирования базы "
        "данных.";
    static constexpr const char* Command1_Caption = "E&xit";
    static constexpr const char* Command2_Caption = "&Next";
    static constexpr const char* Command3_Caption = "Launch CS III";

    Eggs(const Program_State& state, Ui& ui, Shell_Views& views)
        : state_(state), ui_(ui), views_(views) {}

    // "&Next": the view closes Eggs, then the raw record editor opens.
    bool Command2_Enabled() const { return true; }
    void Command2_Click();
    // Starts the sibling program; a program that can't be started fails as the runtime fails
    // it: the ordinary unhandled failure.
    void Command3_Click();

private:
    const Program_State& state_;
    Ui& ui_;
    Shell_Views& views_;
};

} // namespace td

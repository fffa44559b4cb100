// Shared by the view tests: a user store and runtime folder of the test's own, a Ui that records
// like Fake_Ui but really ends the process, and running an action in a child process to see
// what the end of the process leaves behind.
#pragma once

#include "support/fakes.h"

#include <QApplication>
#include <QtTest>
#include <functional>
#include <string>

namespace td::test {

// Points XDG_CONFIG_HOME and XDG_RUNTIME_DIR at a fresh temporary folder, before anything
// opens a settings store: no test ever sees the user's own.
void Isolate_User_Store();
std::string Isolated_Folder();

// Fake_Ui whose End_Process ends the process for real (in a child process).
class Ending_Ui : public Fake_Ui {
public:
    [[noreturn]] void End_Process(int exit_code) override;
};

// Runs `action` in a forked child; the child's exit code, or 200 if the action returned, or
// -1 if the child died otherwise.
int Exit_Code_Of(const std::function<void()>& action);

} // namespace td::test

#define TD_QTEST_MAIN(Test_Class)                                                                  \
    int main(int argc, char** argv) {                                                              \
        td::test::Isolate_User_Store();                                                            \
        QApplication app(argc, argv);                                                              \
        Test_Class test;                                                                           \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

// The small Qt views: the splash, the progress form, the fatal screen, the About box and Eggs.
// Each maps widgets to its screen's logic and forwards events; none decides anything.
#pragma once

#include "kernel/errorscreen.h"
#include "shell/small_forms.h"

#include <QDialog>
#include <QTimer>

class QLabel;
class QProgressBar;
class QKeyEvent;

namespace td {

// Key code and modifier mask of a key event in the system's numbering ('A'..'Z' as their
// capitals, F1.. from 112; Shift 1, Ctrl 2, Alt 4).
int Key_Code_Of(const QKeyEvent* event);
int Shift_Mask_Of(const QKeyEvent* event);

class Qt_Splash : public QDialog {
    Q_OBJECT
public:
    explicit Qt_Splash(QWidget* parent = nullptr);
    frmSplash& Model() { return model_; }
    void Update_From_Model();
    // Bar full, timer started (unless `wait` is false), then shown modally.
    void Modal_Wait(bool wait);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void Close_If_Done();

    frmSplash model_;
    QLabel* caption_;
    QLabel* version_;
    QProgressBar* bar_;
    QTimer timer_;
};

class Qt_Search_Progress : public QDialog {
    Q_OBJECT
public:
    explicit Qt_Search_Progress(QWidget* parent = nullptr);
    void Set_Label(const QString& text);
    void Set_Value(int value);
    int Value() const;
    QString Label() const;

private:
    QLabel* label_;
    QProgressBar* bar_;
};

class Qt_Errorscreen : public QDialog {
    Q_OBJECT
public:
    Qt_Errorscreen(Errorscreen& model, QWidget* parent = nullptr);
    ~Qt_Errorscreen() override;
    QTimer& Timer1() { return timer1_; }
    QTimer& Timer2() { return timer2_; }
    QString Label_Text(int label) const;

protected:
    void keyReleaseEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    void Update_Labels();
    void Apply_Timers();

    Errorscreen& model_;
    QLabel* labels_[3];
    QTimer timer1_;
    QTimer timer2_;
};

class Qt_About : public QDialog {
    Q_OBJECT
public:
    Qt_About(const Program_State& state, Shell_Views& views, QWidget* parent = nullptr);

protected:
    void keyReleaseEvent(QKeyEvent* event) override;

private:
    frmAbout model_;
};

class Qt_Eggs : public QDialog {
    Q_OBJECT
public:
    Qt_Eggs(const Program_State& state, Ui& ui, Shell_Views& views, QWidget* parent = nullptr);

private:
    Eggs model_;
};

} // namespace td

// The view of the screen "Импорт базы данных 1С...": widgets mapped to the Import_1C model.
#pragma once

#include <QDialog>
#include <memory>

class QGroupBox;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Qt_MDI_Form;
class Import_1C;
class Dbf_Table;

class Import_1C_View : public QDialog {
    Q_OBJECT
public:
    Import_1C_View(QWidget* parent, Program_State& state, Ui& ui, Clock& clock,
                   User_Settings& user_settings);
    ~Import_1C_View() override;

    Import_1C& Model() { return *model_; }
    // Shows the model's state: texts, options, which buttons stand and are enabled, the results.
    void Refresh();

    QLineEdit* Text1() const { return text1_; }
    QRadioButton* Option(int n) const { return options_[n - 1]; }
    QPushButton* Import_Button() const { return import_; }
    QPushButton* Compare_Button() const { return compare_; }
    QPlainTextEdit* Text3() const { return text3_; }
    QProgressBar* Progress() const { return progress_; }

private:
    void Browse();
    void Keep_On_Screen();

    Ui& ui_;
    std::unique_ptr<Dbf_Table> table_;
    std::unique_ptr<Import_1C> model_;
    QLineEdit* text1_;
    QLineEdit* text2_;
    QRadioButton* options_[3];
    QPushButton* import_;
    QPushButton* compare_;
    QProgressBar* progress_;
    QGroupBox* results_;
    QPlainTextEdit* text3_;
};

// Opens the screen, modal to the main window, and gives it back (it goes away when closed).
Import_1C_View* Open_Import_1C(QWidget* parent, Program_State& state, Ui& ui, Clock& clock,
                               User_Settings& user_settings);

// The menu entry closes every child window first, so that no browser holds company data during
// the import; the toolbar button opens the screen as it is.
void Attach_Import_View(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                        User_Settings& user_settings);

} // namespace td

// The main window: a QMainWindow around a QMdiArea, with the menus, the toolbar and the status
// panels built from the shell's tables. Clicks go to MDI_Form by name or key; the window's close
// asks MDI_Form too. It is also the shell's Shell_Views: arranging children, the About box and
// Eggs, starting another program.
#pragma once

#include "shell/mdi_form.h"

#include <QMainWindow>
#include <functional>
#include <map>
#include <memory>

class QAction;
class QIcon;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QMenu;
class QToolBar;

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

class Qt_MDI_Form : public QMainWindow, public Shell_Views {
    Q_OBJECT
public:
    Qt_MDI_Form(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
                QWidget* parent = nullptr);
    ~Qt_MDI_Form() override;

    MDI_Form& Model() { return model_; }
    QMdiArea* Mdi_Area() const { return area_; }
    QToolBar* Toolbar() const { return toolbar_; }
    // The entry or button of that name / key, for later screens and the tests.
    QAction* Menu_Action(const std::string& name) const;
    QMenu* Top_Menu_Of(const std::string& name) const;
    QAction* Button(const std::string& key) const;
    // A context menu held by the main window, raised by the grids of other forms.
    QMenu* Context_Menu(const std::string& name) const;
    QLabel* Status_Label(int panel) const;
    // The picture of that key of the toolbar's image list, for the children's own toolbars.
    static QIcon Image(const std::string& key);

    // In production the About box and Eggs are modal and block; tests open them without
    // waiting.
    void Set_Blocking_Dialogs(bool blocking) { blocking_ = blocking; }

    // Shell_Views
    void Arrange(Arrange_Mode mode) override;
    void Show_About() override;
    void Show_Eggs() override;
    void Show_Raw_DB_Edit() override;
    // The raw record editor's opener, attached by the maintenance views.
    void Set_Raw_Editor(std::function<void()> open) { raw_editor_ = std::move(open); }
    std::string Active_Child_Caption() override;
    void Print_Active_Page() override;
    bool Start_Program(const std::string& path, long& error_number,
                       std::string& error_description) override;

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Build_Menus();
    // Adds the entries of one menu, each dispatched to the model by its name.
    void Fill_Menu(QMenu* menu, const std::vector<Menu_Item>& items);
    void Build_Toolbar();
    void Update_From_Model();
    void Open_Dialog(QDialog* dialog);
    // A child closed by the user gives the front back to the child used before it.
    void Child_Closing(QMdiSubWindow* child);

    Program_State& state_;
    Ui& ui_;
    MDI_Form model_;
    QMdiArea* area_;
    QToolBar* toolbar_;
    QLabel* status_[2];
    std::map<std::string, QAction*> actions_;
    std::map<std::string, QMenu*> menus_;
    std::map<std::string, QAction*> buttons_;
    std::map<std::string, QMenu*> context_menus_;
    std::function<void()> raw_editor_;
    bool blocking_ = true;
};

} // namespace td

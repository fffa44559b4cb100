#include "qt/tour.h"

#include "kernel/errorscreen.h"
#include "kernel/fatal.h"
#include "kernel/state.h"
#include "qt/grid_view.h"
#include "qt/qt_mdi_form.h"
#include "qt/qt_ui.h"
#include "qt/qt_views.h"
#include "qt/test_hooks.h"

#include <QApplication>
#include <QDir>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QThread>

namespace td {
namespace {

void Settle() {
    for (int i = 0; i < 5; ++i) {
        QCoreApplication::processEvents();
        QThread::msleep(40);
    }
}

void Save(const QPixmap& picture, const std::string& folder, const QString& name) {
    QString path = QDir(QString::fromStdString(folder)).filePath(name);
    picture.save(path);
    hooks::Log("grabbed " + path.toStdString());
}

// The window with a popup painted over it where it stands.
QPixmap With_Popup(QWidget& window, QWidget& popup) {
    QPixmap picture = window.grab();
    QPainter painter(&picture);
    painter.drawPixmap(window.mapFromGlobal(popup.mapToGlobal(QPoint(0, 0))), popup.grab());
    return picture;
}

QPixmap Centred_On(QWidget& window, QWidget& dialog) {
    QPixmap picture = window.grab();
    QPainter painter(&picture);
    painter.fillRect(picture.rect(), QColor(0, 0, 0, 60));
    QPixmap front = dialog.grab();
    painter.drawPixmap((picture.width() - front.width()) / 2,
                       (picture.height() - front.height()) / 2, front);
    return picture;
}

} // namespace

void Tour_Splash(Qt_Ui& ui, const std::string& folder) {
    QDir().mkpath(QString::fromStdString(folder));
    if (QWidget* splash = ui.Splash_Form()) {
        Settle();
        Save(splash->grab(), folder, "splash.png");
    }
}

void Tour(Qt_MDI_Form& window, Qt_Ui& ui, Program_State& state, const std::string& folder) {
    QDir().mkpath(QString::fromStdString(folder));
    Settle();
    Save(window.grab(), folder, "main.png");

    for (const Top_Menu& top : window.Model().Menus()) {
        QMenu* menu = window.Top_Menu_Of(top.name);
        if (menu == nullptr || !menu->menuAction()->isVisible())
            continue;
        QRect place = window.menuBar()->actionGeometry(menu->menuAction());
        menu->popup(window.menuBar()->mapToGlobal(place.bottomLeft()));
        Settle();
        Save(With_Popup(window, *menu), folder,
             QString::fromStdString("menu-" + top.name + ".png"));
        menu->hide();
    }

    window.Set_Blocking_Dialogs(false);
    window.Model().Menu_Click("mnu_help_About");
    Settle();
    if (auto* about = window.findChild<Qt_About*>()) {
        Save(Centred_On(window, *about), folder, "about.png");
        window.Show_Eggs();
        Settle();
        if (auto* eggs = window.findChild<Qt_Eggs*>()) {
            Save(Centred_On(window, *eggs), folder, "eggs.png");
            eggs->close();
        }
        about->close();
    }

    // A child window with a grid: header, bold, colours, a hidden row, the current cell.
    Grid grid(1, 3);
    grid.Set_Text(0, 0, "Номер талона");
    grid.Set_Text(0, 1, "Результат регистрации");
    grid.Set_Text(0, 2, "Запись");
    grid.Set_Column_Width(0, 1500);
    grid.Set_Column_Width(1, 5200);
    grid.Set_Column_Width(2, 1000);
    grid.Add_Item("\tПроверка регистрации талонов");
    grid.Set_Bold(1, 1, true);
    grid.Add_Item("\tмарка ГСМ 'АИ-95' литраж: 20");
    grid.Set_Colour(2, 1, {70, 70, 110});
    grid.Add_Item("000101\tОшибка. Талон уже зарегистрирован: 05.03.2026\t17");
    grid.Set_Colour(3, 1, {170, 30, 30});
    grid.Add_Item("000102\tскрытая строка");
    grid.Set_Row_Height(4, 0);
    grid.Add_Item("000103\tТалон(ы) могут быть зарегистрирован(ы).");
    grid.Set_Colour(5, 1, {30, 110, 40});
    grid.Set_Row(3);
    grid.Set_Col(1);
    auto* view = new Qt_Grid_View(grid);
    QMdiSubWindow* child = window.Mdi_Area()->addSubWindow(view);
    child->setWindowTitle(QStringLiteral("Проверка"));
    child->setAttribute(Qt::WA_DeleteOnClose);
    child->resize(720, 260);
    child->show();
    Settle();
    Save(window.grab(), folder, "grid.png");
    ui.Close_All_Children();
    Settle();

    ui.Search_Progress_Show("Индексация базы данных");
    ui.Search_Progress_Set(42);
    Settle();
    if (QWidget* progress = ui.Search_Progress_Form())
        Save(Centred_On(window, *progress), folder, "progress.png");
    ui.Search_Progress_Hide();

    // The fatal screen after four seconds of its countdown.
    state.Fatal_Countdown = 13;
    Errorscreen model(state, ui);
    model.Set_Report(std::string(fatal_site::Defrag_Module) + "\r\nDisk full",
                     std::string(fatal_site::Defrag_Code) + Hex_Number(61));
    Qt_Errorscreen screen(model, &window);
    screen.show();
    for (int i = 0; i < 4; ++i)
        model.Timer2_Timer();
    Settle();
    Save(Centred_On(window, screen), folder, "fatal.png");
    // The tour ends as the countdown would end the run: the work marker stays.
    std::_Exit(1);
}

} // namespace td

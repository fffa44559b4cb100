#include "shell/mdi_form.h"

#include "base/dates.h"
#include "base/ports.h"
#include "browsers/resolve_tickets.h"
#include "browsers/sell_ticets.h"
#include "kernel/cache_passes.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "shell/database_commands.h"

#include <utility>

namespace td {
namespace {

Menu_Item Entry(const char* name, const char* caption) {
    Menu_Item item;
    item.name = name;
    item.caption = caption;
    item.separator = item.caption == "-";
    return item;
}

} // namespace

MDI_Form::MDI_Form(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
                   Shell_Views& views)
    : state_(state), ui_(ui), clock_(clock), user_settings_(user_settings), views_(views) {
    Build_Tables();
    Register_Commands();
    Refresh_Enabled();
}

void MDI_Form::Build_Tables() {
    menus_ = {
        {"mnu_File",
         "Файл",
         true,
         {Entry("mnu_save_report", "Сохранить отчёт"), Entry("mnu_print", "Печать"),
          Entry("mnu_sep4", "-"), Entry("mnu_File_exit", "Выход")}},
        {"mnu_Sell", "Покупатели", true, {Entry("mnu_Sell_Tickets", "Справочник покупателей")}},
        {"mnu_sort",
         "Сортировка",
         false,
         {Entry("mnu_sort_acd", "Сортировать по алфавиту"),
          Entry("mnu_sort_desc", "Сортировать против алфавита")}},
        {"mnuMenu_Shop",
         "Заправки",
         true,
         {Entry("mnu_Shop_Cur_date", "Справочник по заправкам за текущую дату"),
          Entry("mnuMenu_ShopBar0", "-"),
          Entry("Mnu_Shop_Range_s", "Статистика по заправке за период")}},
        {"mnuMenu_reports",
         "Отчёты",
         true,
         {Entry("mnu_reports_Shop_CD", "Продажа на текущую дату"),
          Entry("mnu_reports_Shop_Range", "Продажа за период"), Entry("mnuMenu_reportsBar0", "-"),
          Entry("Mnu_Shop_CD", "Списание на текущую дату"),
          Entry("Mnu_Shop_Range", "Списание за период"), Entry("mnu_sep3", "-"),
          Entry("mnu_ticket_diff", "Остатки талонов"), Entry("mnu_sep5", "-"),
          Entry("mnu_full_report", "Полный отчёт"),
          Entry("mnu_full_report_range", "Полный отчёт за период")}},
        {"mnu_Services",
         "Сервис",
         true,
         {Entry("mnu_Services_Current_date", "Установка текущей даты"),
          Entry("mnu_User_Volume", "Новая серия талонов по литражу"),
          Entry("mnu_Services_Tickets_del", "Уничтожение талонов"),
          Entry("mnu_Services_Fuel_cost", "Справочник ГСМ"),
          Entry("Mnu_Establishments", "Заправки"), Entry("mnu_sep0", "-"),
          Entry("mnu_Import_DB", "Импорт компаний из базы данных 1С"),
          Entry("mnu_create_backup", "Резервное копирование / Восстановление"),
          Entry("mnu_restore_from_backup", "Восстановить с резервной копии"),
          Entry("mnu_sep_097", "-"), Entry("mnu_reindex_DB", "Переиндексация базы данных"),
          Entry("mnu_se_defrag", "Дефрагментация базы данных"), Entry("mnu_ptr", "NULL"),
          Entry("mnu_restore_settings", "Восстановить настройки по умолчанию")}},
        {"mnu_Windows",
         "Окна",
         true,
         {Entry("mnu_tile_hor", "Расположить по горизонтали"),
          Entry("mnu_tile_vert", "Расположить по вертиткали"),
          Entry("mnu_cas_ord", "Выстроить каскадом"),
          Entry("mnu_icon_order", "Упорядочить иконки")}},
        {"mnuMenu_help",
         "Помощь",
         true,
         {Entry("mnu_help_Help_TD", "Справка по Менеджеру талонов"), Entry("mnuMenu_helpBar0", "-"),
          Entry("mnu_help_About", "О менеджере талонов")}},
    };

    buttons_ = {
        {"Продажа таллонов", "Справочник покупателей", "CRDFLE07", true, ""},
        {"Списание таллонов", "Справочник заправок", "CLIP07", true, ""},
        {"Up One Level", "Переход на один уровень выше", "Up One Level", true, ""},
        {"Отчёт", "Сформировать отчёт", "View Details", true, ""},
        {"Остатки", "Остатки на текущую дату", "Sum", true, ""},
        {"Печать", "Печать", "Print", true, ""},
        {"Импорт", "Импорт компаний из базы данных 1С", "FILES04", true, ""},
        {"Сортировка по возрастанию", "Сортировка по возрастанию", "Sort Ascending", true, ""},
        {"Сортировка по убыванию", "Сортировка по убыванию", "Sort Descending", true, ""},
        {"Поик", "Поиск", "Find", true, ""},
        {"Помощь", "Помощь", "Help", true, ""},
        {"Выход", "Выйти из системы", "Exit_1", true, ""},
        {"Set date", "Установка даты", "", true, ""},
    };
    // Buttons that share a menu entry's command; they are enabled together with it. The screens
    // behind "Продажа таллонов", "Списание таллонов" and "Импорт" open differently from their menu
    // entries, so they get commands of their own ("tb:" + key).
    button_commands_ = {
        {"Продажа таллонов", "tb:Продажа таллонов"},
        {"Списание таллонов", "tb:Списание таллонов"},
        {"Отчёт", "mnu_full_report"},
        {"Остатки", "mnu_ticket_diff"},
        {"Импорт", "tb:Импорт"},
        {"Сортировка по возрастанию", "mnu_sort_acd"},
        {"Сортировка по убыванию", "mnu_sort_desc"},
        {"Set date", "mnu_Services_Current_date"},
    };

    context_menus_ = {
        {"mnu_popup",
         "Sell_Ticets",
         {Entry("mnu_popup_sell", "Продажа талонов"),
          Entry("mnu_popup_release_sell", "Списание талонов"), Entry("mnu_popup_sep1", "-"),
          Entry("mnu_set_curr_date_sell", "Установить текущу дату"), Entry("mnu_popup_sep2", "-"),
          Entry("mnu_popup_user_stat", "Статистика продаж по покупателю"),
          Entry("mnu_popup_user_stat_range", "Статистика по покупателю за период")}},
        {"mnu_popup_resolve",
         "Resolve_Tickets",
         {Entry("mnu_popup_release", "Списание талонов"), Entry("mnu_popup_resolve_sep1", "-"),
          Entry("mnu_set_curr_date_shop", "Установить текущу дату"),
          Entry("mnu_popup_resolve_sep2", "-"),
          Entry("mnu_popup_Res_stat", "Статистика списаний по заправке"),
          Entry("mnu_popup_Res_stat_range", "Статистика по заправке за период")}},
        {"mnu_shop_popup_msf",
         "Shop",
         {Entry("mnu_shop_popup_msf_Info", "Информация"), Entry("mnu_shop_popup_msf_sep", "-"),
          Entry("mnu_shop_popup_msf_New", "Очистить")}},
        {"mnu_reg_popup_msf",
         "Register_ticket",
         {Entry("mnu_reg_popup_msf_Info", "Информация"), Entry("mnu_reg_popup_msf_sep", "-"),
          Entry("mnu_reg_popup_msf_New", "Очистить")}},
        {"mnu_shop_popup_cls_main", "Shop", {Entry("mnu_shop_popup_cls", "Очистить")}},
    };
}

void MDI_Form::Register_Commands() {
    // Entries that exist and, as required, do nothing.
    for (const char* name : {"mnu_save_report", "mnu_print", "mnu_help_Help_TD"})
        commands_[name] = [] {};

    commands_["mnu_File_exit"] = [this] { Confirm_Exit(state_, ui_, user_settings_); };
    commands_["mnu_tile_hor"] = [this] { views_.Arrange(Arrange_Mode::Tile_Horizontal); };
    commands_["mnu_tile_vert"] = [this] { views_.Arrange(Arrange_Mode::Tile_Vertical); };
    commands_["mnu_cas_ord"] = [this] { views_.Arrange(Arrange_Mode::Cascade); };
    commands_["mnu_icon_order"] = [this] { views_.Arrange(Arrange_Mode::Icons); };
    commands_["mnu_help_About"] = [this] { views_.Show_About(); };
    commands_["mnu_restore_settings"] = [this] { Restore_Settings(); };
    // Reindexing closes the children itself before the rebuild.
    commands_["mnu_reindex_DB"] = [this] { Reindex_Database(state_, ui_, clock_); };
    commands_["mnu_se_defrag"] = [this] {
        SE_Defragmentation(state_, ui_, clock_, state_.settings.Database_File,
                           Defrag_Uncounted::Refuse);
    };
}

void MDI_Form::Set_Command(const std::string& name, std::function<void()> action) {
    commands_[name] = std::move(action);
    Refresh_Enabled();
    Changed();
}

void MDI_Form::Allow_Item(const std::string& name, bool allowed) {
    if (allowed == (held_off_.count(name) == 0))
        return;
    if (allowed)
        held_off_.erase(name);
    else
        held_off_.insert(name);
    Refresh_Enabled();
    Changed();
}

void MDI_Form::Refresh_Enabled() {
    auto mark = [this](Menu_Item& item) {
        if (item.separator)
            return;
        bool built = commands_.count(item.name) != 0;
        item.unavailable = built ? "" : Not_Built_Reason;
        item.enabled = built && held_off_.count(item.name) == 0;
    };
    for (Top_Menu& menu : menus_) {
        for (Menu_Item& item : menu.items)
            mark(item);
        if (menu.name == "mnu_sort")
            menu.visible = sort_available_;
    }
    for (Context_Menu& menu : context_menus_)
        for (Menu_Item& item : menu.items)
            mark(item);

    for (Toolbar_Button& button : buttons_) {
        auto shared = button_commands_.find(button.key);
        bool built = shared == button_commands_.end() || commands_.count(shared->second) != 0;
        button.unavailable = built ? "" : Not_Built_Reason;
        button.enabled = built;
    }
    // The sort commands exist only while a browser is in front.
    for (const char* key : {"Сортировка по возрастанию", "Сортировка по убыванию"}) {
        for (Toolbar_Button& button : buttons_)
            if (button.key == key)
                button.enabled = button.enabled && sort_available_;
    }
    for (const char* name : {"mnu_sort_acd", "mnu_sort_desc"})
        if (Menu_Item* item = Item(name))
            item->enabled = item->enabled && sort_available_;
}

void MDI_Form::Changed() const {
    if (listener_)
        listener_();
}

Menu_Item* MDI_Form::Item(const std::string& name) {
    return const_cast<Menu_Item*>(std::as_const(*this).Find_Item(name));
}

const Menu_Item* MDI_Form::Find_Item(const std::string& name) const {
    for (const Top_Menu& menu : menus_)
        for (const Menu_Item& item : menu.items)
            if (item.name == name)
                return &item;
    for (const Context_Menu& menu : context_menus_)
        for (const Menu_Item& item : menu.items)
            if (item.name == name)
                return &item;
    return nullptr;
}

const Top_Menu* MDI_Form::Find_Menu(const std::string& name) const {
    for (const Top_Menu& menu : menus_)
        if (menu.name == name)
            return &menu;
    return nullptr;
}

const Toolbar_Button* MDI_Form::Find_Button(const std::string& key) const {
    for (const Toolbar_Button& button : buttons_)
        if (button.key == key)
            return &button;
    return nullptr;
}

void MDI_Form::MDIForm_Load() {
    caption_ = "Система учета талонов ГСМ " + state_.settings.Company_Name;
    Changed();
}

std::string MDI_Form::Status_Panel(int panel) const {
    if (panel == 1)
        return "Статус.";
    if (panel == 2)
        return "Текущая дата: " + Format_Date(state_.Current_Date);
    return "";
}

void MDI_Form::Current_Date_Changed() {
    Changed();
}

void MDI_Form::Menu_Click(const std::string& name) {
    const Menu_Item* item = Find_Item(name);
    if (item == nullptr || item->separator || !item->enabled)
        return;
    auto command = commands_.find(name);
    if (command != commands_.end())
        command->second();
}

void MDI_Form::tbToolBar_ButtonClick(const std::string& key) {
    const Toolbar_Button* button = Find_Button(key);
    if (button == nullptr || !button->enabled)
        return;
    // Dispatched in the toolbar's order, first equal key wins.
    auto run = [this](const std::string& command) {
        auto found = commands_.find(command);
        if (found != commands_.end())
            found->second();
    };
    if (key == "Продажа таллонов")
        run("tb:Продажа таллонов");
    else if (key == "Списание таллонов")
        run("tb:Списание таллонов");
    else if (key == "Up One Level")
        Stub_Message("Переходы на один уровень выше в бета версии отсутствует.");
    else if (key == "Отчёт")
        run("mnu_full_report");
    else if (key == "Остатки")
        run("mnu_ticket_diff");
    else if (key == "Печать")
        Print_Current_Page();
    else if (key == "Импорт")
        run("tb:Импорт"); // unlike the menu entry, the children stay open
    else if (key == "Сортировка по возрастанию")
        run("mnu_sort_acd");
    else if (key == "Сортировка по убыванию")
        run("mnu_sort_desc");
    else if (key == "Поик")
        Stub_Message("Поисковая система в бета версии отсутствует.");
    else if (key == "Помощь")
        Stub_Message("Справочная система в бета версии отсутствует.");
    else if (key == "Выход")
        Confirm_Exit(state_, ui_, user_settings_);
    else if (key == "Set date")
        run("mnu_Services_Current_date");
}

void MDI_Form::Stub_Message(const std::string& text) {
    ui_.Message_Box(text, box::Information, "Ошибка");
}

void MDI_Form::Print_Current_Page() {
    if (views_.Active_Child_Caption().empty())
        return;
    state_.Answer = ui_.Message_Box("Напечатать текущую станицу на принтере?",
                                    box::Yes_No | box::Question, "Печать");
    if (state_.Answer == box::Answer_Yes)
        views_.Print_Active_Page();
}

void MDI_Form::Browser_Active(bool active) {
    sort_available_ = active;
    Refresh_Enabled();
    Changed();
}

bool MDI_Form::MDIForm_QueryUnload() {
    return !Confirm_Exit(state_, ui_, user_settings_);
}

void MDI_Form::MDIForm_Unload() {
    Shutdown_Steps(state_, user_settings_);
    ui_.Close_All_Children();
    End_Process_Now(ui_, 0);
}

void MDI_Form::Restore_Settings() {
    ui_.Close_All_Children();

    user_settings_.Save(App_Title, "Settings", "MainLeft", "1000");
    user_settings_.Save(App_Title, "Settings", "MainTop", "1000");
    user_settings_.Save(App_Title, "Settings", "MainWidth", "6500");
    user_settings_.Save(App_Title, "Settings", "MainHeight", "6500");

    user_settings_.Save(Settings_Application, "Kernel", "1C DB Path", "");
    user_settings_.Save(Settings_Application, "Kernel", "Date", "0:00:00");

    // Booleans are stored in their text form, as the store always held them.
    for (int i = 1; i <= 15; ++i) {
        std::string n = std::to_string(i);
        user_settings_.Save(Settings_Application, "Windows", Sell_Ticets::Settings_Prefix + n,
                            "960");
        user_settings_.Save(Settings_Application, "Windows", "RTLV" + n, "False");
        user_settings_.Save(Settings_Application, "Windows", Resolve_Tickets::Settings_Prefix + n,
                            "960");
    }
    const char* rto[] = {"True", "False", "True", "False", "True", "False", "False"};
    for (int i = 0; i < 7; ++i)
        user_settings_.Save(Settings_Application, "Windows", "RTO" + std::to_string(i + 1), rto[i]);

    ui_.Message_Box("Настройки по умолчанию восстановлены!\nНеобходимо перезапустить программу",
                    box::Information, "Информация");
    Shutdown(state_, ui_, user_settings_);
}

} // namespace td

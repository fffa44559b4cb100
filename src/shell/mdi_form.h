// The main window's logic: the menu tree, the toolbar, the context menus, the status panels and
// the routing of every command. The Qt view builds its menus and buttons from these tables and
// forwards clicks by name or key; nothing here knows a toolkit.
#pragma once

#include "shell/shell_views.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;

// The program's own application title: the section "Settings" of the reset lives under it.
inline constexpr const char* App_Title = "Tally_depot";

// Why an entry can't be chosen yet: its screen belongs to a later part of the program.
inline constexpr const char* Not_Built_Reason = "not built yet";

struct Menu_Item {
    std::string name;    // mnu_...
    std::string caption; // "-" for a separator
    bool separator = false;
    bool enabled = true;
    // Empty while the entry works (or by design does nothing); else why it is disabled.
    std::string unavailable;
};

struct Top_Menu {
    std::string name;
    std::string caption;
    bool visible = true;
    std::vector<Menu_Item> items;
};

struct Toolbar_Button {
    std::string key; // compared as a string when dispatched; misspellings included
    std::string tooltip;
    std::string image; // key of the image list the button's picture comes from
    bool enabled = true;
    std::string unavailable;
};

struct Context_Menu {
    std::string name;
    std::string raised_by;
    std::vector<Menu_Item> items;
};

class MDI_Form {
public:
    MDI_Form(Program_State& state, Ui& ui, Clock& clock, User_Settings& user_settings,
             Shell_Views& views);

    // Building the caption and the status panels when the window opens.
    void MDIForm_Load();
    const std::string& Caption() const { return caption_; }
    // Panel 1 "Статус.", panel 2 the working date. Others are empty.
    std::string Status_Panel(int panel) const;
    // The working date changed (the date pickers call this): panel 2 is rewritten.
    void Current_Date_Changed();

    const std::vector<Top_Menu>& Menus() const { return menus_; }
    const std::vector<Toolbar_Button>& Buttons() const { return buttons_; }
    const std::vector<Context_Menu>& Context_Menus() const { return context_menus_; }
    const Menu_Item* Find_Item(const std::string& name) const;
    const Top_Menu* Find_Menu(const std::string& name) const;
    const Toolbar_Button* Find_Button(const std::string& key) const;

    // A menu or context entry chosen by name. Disabled and unknown entries do nothing.
    void Menu_Click(const std::string& name);
    // A toolbar button, dispatched by its key in the order of the toolbar's table.
    void tbToolBar_ButtonClick(const std::string& key);

    // Screens built later attach their command here; the entry (and the buttons routed to it)
    // become enabled.
    void Set_Command(const std::string& name, std::function<void()> action);

    // A click in a browser's grid allows an entry or holds it off (the statistics entries of the
    // popups, Mnu_Shop_Range_s): held off, the entry stays disabled until a click allows it.
    void Allow_Item(const std::string& name, bool allowed);

    // A browser became active (true) or stopped being active (false): "Сортировка" and the two
    // sort buttons follow it.
    void Browser_Active(bool active);
    bool Sort_Available() const { return sort_available_; }

    // The frame's close request: true cancels it (the user answered No).
    bool MDIForm_QueryUnload();
    // The second way out, when the window goes without Shutdown: steps 1 to 4 of it, every open
    // form unloaded, then the process ends.
    [[noreturn]] void MDIForm_Unload();

    // Called after anything a view shows changed (enabled flags, visibility, status panels).
    void On_Change(std::function<void()> listener) { listener_ = std::move(listener); }

    // The reset of settings, exposed for the view's tests through Menu_Click as well.
    [[noreturn]] void Restore_Settings();

private:
    void Build_Tables();
    void Register_Commands();
    void Refresh_Enabled();
    void Changed() const;
    void Stub_Message(const std::string& text);
    void Print_Current_Page();
    Menu_Item* Item(const std::string& name);

    Program_State& state_;
    Ui& ui_;
    Clock& clock_;
    User_Settings& user_settings_;
    Shell_Views& views_;

    std::string caption_;
    std::vector<Top_Menu> menus_;
    std::vector<Toolbar_Button> buttons_;
    std::vector<Context_Menu> context_menus_;
    std::map<std::string, std::function<void()>> commands_;
    // Toolbar key -> the menu command it shares, for enabling.
    std::map<std::string, std::string> button_commands_;
    bool sort_available_ = false;
    std::set<std::string> held_off_;
    std::function<void()> listener_;
};

} // namespace td

// Thin views of the maintenance screens: the backup wizard, mass deletion and the raw record
// editor. Each maps widgets to its screen's model and forwards events; the models decide.
#pragma once

namespace td {

struct Program_State;
class Ui;
class Clock;
class User_Settings;
class Qt_MDI_Form;

// Attaches "Мастер резервного копирования" (mnu_create_backup, mnu_restore_from_backup),
// "Уничтожение талонов" (mnu_Services_Tickets_del) and the raw record editor behind Eggs.
void Attach_Maintenance_Views(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                              User_Settings& user_settings);

// The screens one by one, modal (for the tests and the screenshots).
void Open_Wisard(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock,
                 User_Settings& user_settings);
void Open_Delete_Records(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock);
void Open_Raw_DB_Edit(Qt_MDI_Form& window, Program_State& state, Ui& ui, Clock& clock);

} // namespace td

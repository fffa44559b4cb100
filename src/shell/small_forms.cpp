#include "shell/small_forms.h"

#include "kernel/state.h"
#include "kernel/unhandled.h"
#include "shell/shell_views.h"
#include "storage/header.h"

#include <algorithm>

namespace td {

std::string Version_Number() {
    return Program_Version();
}

void frmSplash::Form_Load() {
    version_label_ = "Версия " + Version_Number();
}

void frmSplash::Set_Progress(int value) {
    progress_ = std::clamp(value, 0, 100);
}

void frmSplash::Loading_Complete() {
    progress_ = 100;
    timer_enabled_ = true;
}

void frmSplash::Timer1_Timer() {
    timer_enabled_ = false;
    closed_ = true;
}

void frmAbout::Form_Load() {
    version_label_ = "Version " + Version_Number();
    user_label_ = state_.settings.User_Name;
    company_label_ = state_.settings.Company_Name;
}

void frmAbout::Form_KeyUp(int key_code, int shift) {
    if (key_code == Key_F9 && shift == Alt_Mask)
        views_.Show_Eggs();
}

void Eggs::Command2_Click() {
    views_.Show_Raw_DB_Edit();
}

void Eggs::Command3_Click() {
    long number = 0;
    std::string description;
    if (!views_.Start_Program(state_.settings.CS_Program_Path, number, description))
        Unhandled_Failure(ui_, number, description);
}

} // namespace td

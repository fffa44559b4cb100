#include "kernel/unhandled.h"

#include "base/ports.h"

#include <new>
#include <stdexcept>

namespace td {

std::string Unhandled_Failure_Text(long number, const std::string& description) {
    return "Run-time error '" + std::to_string(number) + "':\n\n" + description;
}

void Unhandled_Failure(Ui& ui, long number, const std::string& description) {
    ui.Message_Box(Unhandled_Failure_Text(number, description), box::Ok_Only, "");
    End_Process_Now(ui, 1);
}

void Unhandled_Failure(Ui& ui, const std::exception& failure) {
    // The numbers the classic runtime gave these failures.
    if (dynamic_cast<const std::bad_alloc*>(&failure) != nullptr)
        Unhandled_Failure(ui, 7, "Out of memory");
    if (dynamic_cast<const std::out_of_range*>(&failure) != nullptr)
        Unhandled_Failure(ui, 9, std::string("Subscript out of range: ") + failure.what());
    Unhandled_Failure(ui, 5, std::string("Invalid procedure call or argument: ") + failure.what());
}

} // namespace td

#include "kernel/fatal.h"

#include "base/ports.h"
#include "kernel/state.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>

namespace td {

std::string Hex_Number(long number) {
    // Negative error numbers show as the classic 32-bit Long did ("FFFFFFFF" for -1).
    unsigned long long bits = number < 0 && number >= INT32_MIN
                                  ? static_cast<std::uint32_t>(static_cast<std::int32_t>(number))
                                  : static_cast<unsigned long long>(number);
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%llX", bits);
    return buffer;
}

Run_Time_Error Run_Time_Error_Of(int system_error) {
    switch (system_error) {
    case ENOENT:
        return {53, "File not found"};
    case ENOSPC:
    case EFBIG:
    case EDQUOT:
        return {61, "Disk full"};
    case EACCES:
    case EPERM:
    case EROFS:
        return {70, "Permission denied"};
    case EIO:
        return {57, "Device I/O error"};
    default:
        return {75, "Path/File access error"};
    }
}

void Fatal_Run_Time_Error(Ui& ui, const Run_Time_Error& error, const std::string& cause) {
    Fatal_Error(ui, error.description + ":", std::to_string(error.number), cause);
}

void Fatal_Error(Ui& ui, std::string module_path, std::string code, const std::string& cause) {
    Program_State& state = State();
    if (state.Fatal_Countdown == 0)
        state.Fatal_Countdown = 30;
    // Every site of this program passes its own texts, so no error is pending where the defaults
    // apply: the current error is number 0, its value "0".
    constexpr long Current_Error = 0;
    if (module_path.empty())
        module_path = std::to_string(Current_Error) + ":";
    if (code.empty())
        code = std::to_string(Current_Error);
    if (!cause.empty())
        ui.Fatal_Cause(cause);
    ui.Show_Fatal_Screen(module_path, code);
}

} // namespace td

#include "kernel/settings.h"

#include "base/ports.h"
#include "kernel/fatal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace td {
namespace {

enum class Read_Outcome { Ok, Missing_Or_Unreadable, Empty };

// Reads the whole file. What is not a regular file is refused without waiting: a FIFO would hold
// the open until a writer came. `reason` says why the file could not be read.
Read_Outcome Read_Whole_File(const std::string& path, std::string& text, std::string& reason) {
    int fd;
    do {
        fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        reason = std::strerror(errno);
        return Read_Outcome::Missing_Or_Unreadable;
    }
    struct stat info {};
    reason.clear();
    if (::fstat(fd, &info) != 0) {
        reason = std::strerror(errno);
    } else if (S_ISDIR(info.st_mode)) {
        reason = std::strerror(EISDIR);
    } else if (!S_ISREG(info.st_mode)) {
        reason = "Not a regular file";
    } else if (const int status = ::fcntl(fd, F_GETFL);
               status < 0 || ::fcntl(fd, F_SETFL, status & ~O_NONBLOCK) != 0) {
        reason = std::strerror(errno);
    }
    if (!reason.empty()) {
        ::close(fd);
        return Read_Outcome::Missing_Or_Unreadable;
    }
    text.clear();
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            reason = std::strerror(errno);
            ::close(fd);
            return Read_Outcome::Missing_Or_Unreadable;
        }
        if (got == 0)
            break;
        text.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    if (text.empty()) {
        reason = "the file is empty";
        return Read_Outcome::Empty;
    }
    return Read_Outcome::Ok;
}

} // namespace

std::string Get_Var(const std::string& file, std::string_view section, std::string_view key,
                    const std::string& default_value, Ui& ui) {
    std::string text;
    std::string reason;
    if (Read_Whole_File(file, text, reason) != Read_Outcome::Ok) {
        Fatal_Error(ui, fatal_site::Get_Var_Module, fatal_site::Get_Var_Code, file + ": " + reason);
        // Back here only if the user resumed: the program can't run without its settings.
        ui.End_Process(1);
    }
    std::optional<std::string> value = Find_Setting(text, section, key);
    if (!value)
        return default_value;
    return Setting_Value_Text(*value);
}

Settings Read_Settings(const std::string& ini_file, const std::string& program_folder, Ui& ui,
                       const std::function<void(int)>& progress) {
    auto move_bar = [&progress](int value) {
        if (progress)
            progress(value);
    };
    // The file is read anew for every key, in the order start-up has always read them.
    auto get = [&](std::string_view key, const std::string& default_value) {
        return Get_Var(ini_file, Settings_Section, key, default_value, ui);
    };

    Settings s;
    s.User_Name = get("User", s.User_Name);
    s.Company_Name = get("Company", s.Company_Name);
    move_bar(2);
    move_bar(3);
    s.Databases_Path = get("Databases", program_folder);
    move_bar(4);
    s.Company_File = get("Company_DB", s.Company_File);
    move_bar(4);
    s.Towns_File = get("Towns_DB", s.Towns_File);
    move_bar(5);
    s.Establishments_File = get("Establishment_DB", s.Establishments_File);
    move_bar(6);
    s.DB_Extension = get("DB_Ext", s.DB_Extension);
    s.Database_File = get("Database", s.Database_File);
    move_bar(7);
    s.Fuel_File = get("Fuel_DB", s.Fuel_File);
    move_bar(8);
    s.Backup_File = get("BackUp", s.Backup_File);
    s.User_Volume_File = get("User_Volume", s.User_Volume_File);
    s.CS_Program_Path = get("CS_PATH", s.CS_Program_Path);
    s.Cache_Diff_File = get("Cache_Diff", s.Cache_Diff_File);
    s.Cache_Used_File = get("Cache_Used", s.Cache_Used_File);
    s.Cache_User_File = get("Cache_User", s.Cache_User_File);
    move_bar(9);

    if (s.CS_Program_Path != "Not define") {
        if (s.CS_Program_Path.empty() || s.CS_Program_Path.back() != '\\')
            s.CS_Program_Path += '\\';
        s.CS_Program_Path += "Cloud sculptor.exe";
    }
    return s;
}

} // namespace td

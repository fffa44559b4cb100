#include "bench_support.h"

#include "base/dates.h"
#include "installation_generator.h"
#include "kernel/settings.h"
#include "kernel/startup.h"
#include "kernel/state.h"
#include "storage/header.h"
#include "storage/number_index.h"
#include "storage/record_file.h"
#include "storage/reference.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace td::bench {

int Silent_Ui::Message_Box(const std::string& text, int flags, const std::string&) {
    ++boxes;
    last_box = text;
    return (flags & box::Yes_No) == box::Yes_No ? box::Answer_Yes : box::Answer_Ok;
}

void Silent_Ui::Show_Fatal_Screen(const std::string& module_path, const std::string& code) {
    std::fprintf(stderr, "fatal screen: %s %s\n", module_path.c_str(), code.c_str());
    End_Process(70);
}

void Silent_Ui::End_Process(int exit_code) {
    std::fflush(stdout);
    std::exit(exit_code);
}

double Wall_Clock::Seconds_Since_Midnight() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    return local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec + now.tv_nsec / 1e9;
}

double Wall_Clock::Today() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return Date_Serial(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

double Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9;
}

double Cpu_Now() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9;
}

bool Open_Installation(Program_State& state, Ui& ui, const std::string& home, std::string& error) {
    state.Program_Folder = home;
    state.settings = Read_Settings(home + "/" + Settings_File_Name, home, ui);
    state.Data_Folder = Databases_Folder(home, state.settings.Databases_Path);
    if (!fs::is_directory(state.Data_Folder)) {
        error = "no data folder at " + state.Data_Folder;
        return false;
    }
    if (::chdir(state.Data_Folder.c_str()) != 0) {
        error = "cannot enter " + state.Data_Folder;
        return false;
    }
    state.Current_Date = Generated_Working_Date();
    state.System_Date_At_Start = state.Current_Date;
    state.Company_Count =
        Load_Company_Table(state.Path_Of(state.settings.Company_File), state.Company_Table);

    Header_Info header;
    if (Read_Header(state.Path_Of(state.settings.Database_File), header) != "Ok") {
        error = "the database header of " + home + " cannot be read";
        return false;
    }
    state.Ticket_Count = static_cast<long>(header.count);
    state.Records_Offset = static_cast<long>(header.records_offset);
    Forget_Derived_State(state);
    return true;
}

void Forget_Derived_State(Program_State& state) {
    state.Z_Counts.Clear();
    state.Ticket_Table.Release();
    Remove_Number_Index_Files(state.Data_Folder);
}

std::uint64_t Read_Whole_File(const std::string& path, std::size_t chunk) {
    // One buffer per chunk size for the life of the process, page-aligned and touched once, so
    // that no measured read pays for allocating it or for its first page faults.
    static std::map<std::size_t, std::unique_ptr<void, decltype(&std::free)>> buffers;
    auto it = buffers.find(chunk);
    if (it == buffers.end()) {
        it = buffers
                 .emplace(chunk, std::unique_ptr<void, decltype(&std::free)>(
                                     std::aligned_alloc(4096, chunk), &std::free))
                 .first;
        std::memset(it->second.get(), 0, chunk);
    }
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    std::uint64_t total = 0;
    for (;;) {
        ssize_t n = ::read(fd, it->second.get(), chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        total += static_cast<std::uint64_t>(n);
    }
    ::close(fd);
    return total;
}

bool Copy_File(const std::string& from, const std::string& to, bool sync, std::string& error) {
    std::error_code ec;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    if (ec) {
        error = "cannot copy " + from + " to " + to + ": " + ec.message();
        return false;
    }
    if (sync) {
        Record_File copy(to, 1);
        if (!copy.Sync()) {
            error = "cannot sync " + to;
            return false;
        }
    }
    return true;
}

bool Prepare_Work_Installation(const std::string& master_home, const std::string& work_home,
                               std::string& error) {
    std::error_code ec;
    const std::string master_data = Data_Folder_Of(master_home);
    const std::string work_data = Data_Folder_Of(work_home);
    fs::create_directories(work_data, ec);
    if (ec) {
        error = "cannot create " + work_data + ": " + ec.message();
        return false;
    }
    if (!Copy_File(master_home + "/" + Settings_File_Name, work_home + "/" + Settings_File_Name,
                   false, error))
        return false;
    for (const char* name :
         {"Company_Db.dat", "Towns.dat", "Establishments.dat", "Fuel.dat", "UsVol.dat"})
        if (!Copy_File(master_data + "/" + name, work_data + "/" + name, false, error))
            return false;
    return true;
}

long Current_Rss_Kb() {
    long pages = 0, resident = 0;
    if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(f);
    }
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

long Peak_Rss_Kb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace td::bench

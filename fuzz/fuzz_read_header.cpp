// Feeds arbitrary bytes to the database header reader as the whole file. Besides crashes and
// sanitizer reports it checks what the readers promise: "Ok" or "$ERROR$" with its fixed
// outputs, trimmed texts, a verdict with a reason whenever the checksum doesn't agree; and that a
// header written over the same file keeps every byte from 350 on and reads back whole.
#include "storage/header.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// One work file per process, removed after every input. Under /dev/shm when there is one: the
// header writer syncs, and a sync to a real disk would bound the run to a few hundred inputs a
// second.
const std::string& Work_File() {
    static const std::string path = [] {
        const char* folder = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(folder) + "/td-fuzz-header-" + std::to_string(::getpid()) + ".cdb";
    }();
    return path;
}

void Check(bool condition) {
    if (!condition)
        __builtin_trap();
}

bool Trimmed(const std::string& text) {
    return text.empty() || (text.front() != ' ' && text.back() != ' ');
}

bool Write_File(const std::string& path, const std::uint8_t* data, std::size_t size) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    std::size_t done = 0;
    while (done < size) {
        ssize_t n = ::write(fd, data + done, size - done);
        if (n <= 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    ::close(fd);
    return done == size;
}

std::vector<std::uint8_t> Read_File(const std::string& path) {
    std::vector<std::uint8_t> bytes;
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return bytes;
    std::uint8_t buffer[4096];
    ssize_t n;
    while ((n = ::read(fd, buffer, sizeof buffer)) > 0)
        bytes.insert(bytes.end(), buffer, buffer + n);
    ::close(fd);
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Work_File();
    struct Remove_After {
        const std::string& path;
        ~Remove_After() { ::unlink(path.c_str()); }
    } remove_after{path};
    if (!Write_File(path, data, size))
        return 0;

    td::Header_Info info;
    const std::string result = td::Read_Header(path, info);
    Check(result == "Ok" || result == "$ERROR$");
    if (result == "$ERROR$") {
        Check(info.data_type == "$ERROR$");
        Check(info.count == -1);
    } else {
        Check(info.header_version.find('*') == std::string::npos);
        Check(info.header_version.find('\r') == std::string::npos);
        Check(Trimmed(info.header_version) && Trimmed(info.program_version) &&
              Trimmed(info.data_type));
    }

    const td::Header_Verification verdict = td::Verify_Header_Checksum(path);
    if (verdict.checksum_agrees)
        Check(verdict.parsed && verdict.reason.empty() &&
              verdict.stored_checksum == verdict.computed_checksum);
    else
        Check(!verdict.reason.empty());

    // A header written over whatever stood there: the tail survives, the head reads back.
    const long count = static_cast<long>(size % 100000000);
    Check(td::Create_Header(path, count));
    const std::vector<std::uint8_t> after = Read_File(path);
    Check(after.size() == std::max<std::size_t>(size, td::Header_Page_Size));
    for (std::size_t i = td::Header_Page_Size; i < size; ++i)
        Check(after[i] == data[i]);
    Check(td::Read_Header(path, info) == "Ok");
    Check(info.count == static_cast<double>(count) && info.records_offset == 6 &&
          info.record_length == 72 && info.data_type == td::Header_Data_Type &&
          info.header_version == "1.84.745");
    Check(td::Verify_Header_Checksum(path).checksum_agrees);
    return 0;
}

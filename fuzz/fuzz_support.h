// What the fuzz targets share: a scratch place per process and whole-file reads and writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace td::fuzz {

// A crash the fuzzer reports with the input that caused it.
inline void Check(bool condition) {
    if (!condition)
        __builtin_trap();
}

// A path of this process's own for `stem` and `extension`. Under /dev/shm when there is one: the
// code under test syncs and writes megabytes, and a real disk would bound the run to a few hundred
// inputs a second.
inline std::string Scratch_Path(const std::string& stem, const std::string& extension) {
    const char* folder = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(folder) + "/td-fuzz-" + stem + "-" + std::to_string(::getpid()) + extension;
}

inline bool Write_File(const std::string& path, const std::uint8_t* data, std::size_t size) {
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

inline std::vector<std::uint8_t> Read_File(const std::string& path) {
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

// The input as the whole of the file at `path`, removed again when the input is done.
class Scratch_Input {
public:
    Scratch_Input(const std::string& path, const std::uint8_t* data, std::size_t size)
        : path_(path), written_(Write_File(path, data, size)) {}
    ~Scratch_Input() { ::unlink(path_.c_str()); }
    Scratch_Input(const Scratch_Input&) = delete;
    Scratch_Input& operator=(const Scratch_Input&) = delete;
    bool Written() const { return written_; }

private:
    std::string path_;
    bool written_;
};

} // namespace td::fuzz

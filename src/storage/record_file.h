// Random access to a file of fixed-length records, numbered from 1. Reading past the end yields a
// zero record; writing past the end extends the file with zeros. Opening creates a missing file,
// as the random-access open of the system did.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace td {

class Record_File {
public:
    enum class Mode { Read_Write, Read_Only };

    Record_File() = default;
    Record_File(const std::string& path, std::size_t record_length, Mode mode = Mode::Read_Write);
    ~Record_File();
    Record_File(const Record_File&) = delete;
    Record_File& operator=(const Record_File&) = delete;
    Record_File(Record_File&& other) noexcept;
    Record_File& operator=(Record_File&& other) noexcept;

    // False if the file could not be opened (or, read-only, does not exist). Only regular files
    // are opened: a folder fails with EISDIR, anything else (a FIFO, a device) with
    // Not_A_Regular_File, without waiting for a writer or reader at the other end.
    bool Open(const std::string& path, std::size_t record_length, Mode mode = Mode::Read_Write);
    bool Is_Open() const { return fd_ >= 0; }
    void Close();

    std::size_t Record_Length() const { return record_length_; }
    // Size of the file in bytes; 0 if not open.
    std::uint64_t Size() const;
    // Number of whole records the file holds.
    std::uint64_t Record_Count() const;

    // Reads record `number` (from 1) into `out` (record_length bytes); zeros past the end.
    // Returns false on an I/O error or a record number below 1.
    bool Read(std::uint64_t number, std::uint8_t* out) const;
    std::vector<std::uint8_t> Read(std::uint64_t number) const;
    // Reads `count` consecutive records from `first` into `out`; zeros past the end.
    bool Read_Block(std::uint64_t first, std::uint64_t count, std::uint8_t* out) const;

    // Writes record `number`; extends the file with zeros when it lies past the end.
    bool Write(std::uint64_t number, const std::uint8_t* data);
    bool Write_Block(std::uint64_t first, std::uint64_t count, const std::uint8_t* data);

    // Bytes at any offset, for the header page.
    bool Read_Bytes(std::uint64_t offset, std::size_t length, std::uint8_t* out) const;
    bool Write_Bytes(std::uint64_t offset, std::size_t length, const std::uint8_t* data);

    // Forces what was written to the disk.
    bool Sync();

    // The path of the last Open, whether it succeeded or not.
    const std::string& Path() const { return path_; }
    // The system's error number of the last failed operation (0 if none failed).
    int Error() const { return error_; }

private:
    bool Failed(int error) const;

    int fd_ = -1;
    std::size_t record_length_ = 0;
    std::string path_;
    mutable int error_ = 0;
};

bool File_Exists(const std::string& path);
bool Remove_File(const std::string& path);

// A test seam for write failures: while `Write_Budget` is not negative, the writes of every
// Record_File may put that many more bytes on disk, and the write that would pass it puts what
// is left and fails with ENOSPC, as a disk that fills up does. The program never sets it.
namespace record_file_hook {
extern std::atomic<long long> Write_Budget;
} // namespace record_file_hook

} // namespace td

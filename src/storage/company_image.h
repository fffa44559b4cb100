// The company file held whole in memory as raw records, for the import's scans: every row of a
// 1C table looks at every record, so the file is read once and written once.
#pragma once

#include "storage/file_failure.h"
#include "storage/records.h"

#include <cstdint>
#include <string>
#include <vector>

namespace td {

class Company_Image {
public:
    // The key of a company as fixed-width text: Code, Group_Code and Subgroup_Code as on disk.
    static constexpr std::size_t Key_Size = 15;

    // Reads the whole file. A missing file is an empty image; false when it can't be read.
    bool Load(const std::string& path, File_Failure& failure);

    // Records the image holds, a partial last record of the file counted.
    std::uint64_t Records() const { return bytes_.size() / Company_Record_Size; }
    // The raw record `number` (from 1); a zero record past the end.
    const std::uint8_t* Raw(std::uint64_t number) const;
    // The Exists byte is 1.
    bool Exists(std::uint64_t number) const;
    std::string Key(std::uint64_t number) const { return Key_Of(Raw(number)); }
    static std::string Key_Of(const std::uint8_t* raw);
    // The Name fields are equal byte for byte.
    static bool Same_Name(const std::uint8_t* a, const std::uint8_t* b);

    // Gives record `number` the name of `raw`; the rest of it stays.
    void Set_Name(std::uint64_t number, const std::uint8_t* raw);
    // Puts the whole record `raw` at `number`.
    void Put(std::uint64_t number, const std::uint8_t* raw);
    // Some record was set since the load.
    bool Changed() const { return changed_; }

    // Puts the image in the place of the file at `path` (a symlink followed) in one step: the
    // bytes go to a new file beside it, which is flushed and then renamed over the old one, so a
    // process killed at any moment leaves either the old file or the new one, every record whole.
    // The file's bytes that no record set stay as they were, a partial last record included.
    bool Save(const std::string& path, File_Failure& failure) const;

private:
    std::uint8_t* Writable(std::uint64_t number);

    std::vector<std::uint8_t> bytes_; // whole records; the partial last one padded with zeros
    std::uint64_t length_ = 0;        // bytes the saved file is to have
    bool changed_ = false;
};

// Writing a file in one step, in two halves so that a caller can act between them: the bytes go
// to a work file beside `path` (named by Replacement_Work_Path) and are flushed; then the work file
// is renamed over `path` and the folder flushed. The new file takes the old one's permissions.
// Neither follows a symlink at `path`: callers that mean the file behind it pass its real path.
bool Write_Replacement(const std::string& path, const std::uint8_t* bytes, std::size_t length,
                       File_Failure& failure);
bool Commit_Replacement(const std::string& path, File_Failure& failure);
// Removes the work file of `path`, if any.
void Drop_Replacement(const std::string& path);
std::string Replacement_Work_Path(const std::string& path);

} // namespace td

#include "storage/redemption_note.h"

#include "storage/file_safety.h"
#include "storage/records.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace td {
namespace {

constexpr char Note_Mark[12] = "TD redeem 1";
constexpr std::size_t Max_Path = 4096;
// Mark, record number, the bytes before and after, the path's length; then the path and the
// checksum of everything before it.
constexpr std::size_t Fixed_Size = sizeof Note_Mark + 8 + 2 * Ticket_Record_Size + 2;

std::string Note_Path(const std::string& data_folder) {
    return data_folder + "/" + Redemption_Note_File;
}

std::uint64_t Checksum(const std::uint8_t* bytes, std::size_t length) {
    std::uint64_t hash = 14695981039346656037ull; // FNV-1a
    for (std::size_t i = 0; i < length; ++i) {
        hash ^= bytes[i];
        hash *= 1099511628211ull;
    }
    return hash;
}

} // namespace

Redemption_Note::Redemption_Note(const std::string& data_folder, const std::string& database)
    : path_(Note_Path(data_folder)), database_(database) {}

bool Redemption_Note::Before_Write(std::int64_t record, const std::uint8_t* before,
                                   const std::uint8_t* after) {
    if (database_.size() > Max_Path)
        return false;
    if (!file_.Is_Open() && !file_.Open(path_, 1))
        return false;
    const std::size_t size = Fixed_Size + database_.size() + 8;
    std::vector<std::uint8_t> note(size, 0);
    std::size_t at = 0;
    std::memcpy(note.data(), Note_Mark, sizeof Note_Mark);
    at += sizeof Note_Mark;
    std::memcpy(note.data() + at, &record, 8);
    at += 8;
    std::memcpy(note.data() + at, before, Ticket_Record_Size);
    at += Ticket_Record_Size;
    std::memcpy(note.data() + at, after, Ticket_Record_Size);
    at += Ticket_Record_Size;
    const auto length = static_cast<std::uint16_t>(database_.size());
    std::memcpy(note.data() + at, &length, 2);
    at += 2;
    std::memcpy(note.data() + at, database_.data(), database_.size());
    const std::uint64_t sum = Checksum(note.data(), size - 8);
    std::memcpy(note.data() + size - 8, &sum, 8);
    // One write at the start of the file: a later note is never shorter, the path being the same.
    return file_.Write_Bytes(0, size, note.data());
}

void Redemption_Note::Remove() {
    file_.Close();
    ::unlink(path_.c_str());
}

Redemption_Repair Finish_Interrupted_Redemption(const std::string& data_folder) {
    Redemption_Repair repair;
    const std::string path = Note_Path(data_folder);
    if (!File_Exists(path))
        return repair;
    std::vector<std::uint8_t> note;
    {
        Record_File file(path, 1, Record_File::Mode::Read_Only);
        const std::uint64_t size = file.Is_Open() ? file.Size() : 0;
        if (size >= Fixed_Size + 8 && size <= Fixed_Size + Max_Path + 8) {
            note.resize(size);
            if (!file.Read_Bytes(0, note.size(), note.data()))
                note.clear();
        }
    }
    std::uint16_t length = 0;
    std::uint64_t sum = 0;
    if (note.size() >= Fixed_Size + 8) {
        std::memcpy(&length, note.data() + Fixed_Size - 2, 2);
        if (Fixed_Size + length + 8 <= note.size())
            std::memcpy(&sum, note.data() + Fixed_Size + length, 8);
    }
    // A note cut short was being written when the run ended: its record was not touched yet.
    if (note.size() >= Fixed_Size + 8 && Fixed_Size + length + 8 <= note.size() &&
        std::memcmp(note.data(), Note_Mark, sizeof Note_Mark) == 0 &&
        sum == Checksum(note.data(), Fixed_Size + length)) {
        repair.found = true;
        std::memcpy(&repair.record, note.data() + sizeof Note_Mark, 8);
        const std::uint8_t* before = note.data() + sizeof Note_Mark + 8;
        const std::uint8_t* after = before + Ticket_Record_Size;
        const std::string database(reinterpret_cast<const char*>(after + Ticket_Record_Size + 2),
                                   length);
        Record_File file(database, Ticket_Record_Size, Record_File::Mode::Read_Only);
        std::uint8_t now[Ticket_Record_Size];
        if (repair.record >= 1 && file.Is_Open() &&
            file.Read(static_cast<std::uint64_t>(repair.record), now) &&
            std::memcmp(now, before, Ticket_Record_Size) != 0 &&
            std::memcmp(now, after, Ticket_Record_Size) != 0) {
            // Booked in part: the ticket goes back to untouched.
            Record_File writer(database, Ticket_Record_Size);
            if (!writer.Is_Open() ||
                !writer.Write(static_cast<std::uint64_t>(repair.record), before) ||
                !writer.Sync()) {
                repair.failure.Note(false, database, writer.Error() != 0 ? writer.Error() : EIO);
                return repair;
            }
            repair.repaired = true;
        }
    }
    ::unlink(path.c_str());
    Sync_Folder_Of(path);
    return repair;
}

} // namespace td

#include "storage/index_batch.h"

#include "base/td_ini.h"
#include "storage/record_file.h"

#include <algorithm>
#include <array>
#include <new>
#include <vector>

namespace td {
namespace {

// The pairs whose index file gets a header: the standard volumes of every fuel slot.
bool Has_Z_Header(int fuel, int volume) {
    return fuel >= 1 && fuel <= Fuel_Slots && volume >= 10 && volume <= 100 && volume % 10 == 0;
}

// Record 1 of the pair's index file: its count as the pass leaves it.
bool Write_Z_Header(const Z_Count_Table& counts, Record_File& file, int fuel, int volume) {
    Z_Header header;
    header.Z_Count = counts.Get(fuel, volume);
    std::array<std::uint8_t, Z_Record_Size> bytes{};
    Encode(header, bytes.data());
    return file.Write(1, bytes.data());
}

// The entries of a run of zero records, made a block at a time: a blank serial, the record
// number, nothing used or deleted.
void Write_Zero_Records(Record_File& file, const Index_Batch::Pair_Entries::Run& run,
                        File_Failure& failure) {
    constexpr std::int64_t Block_Entries = 65536;
    std::vector<std::uint8_t> block(static_cast<std::size_t>(std::min(run.count, Block_Entries)) *
                                    Z_Record_Size);
    const Ticket_Record zero{};
    for (std::int64_t done = 0; done < run.count; done += Block_Entries) {
        const std::int64_t count = std::min(Block_Entries, run.count - done);
        for (std::int64_t k = 0; k < count; ++k)
            Encode_Z_Entry(zero, static_cast<std::int32_t>(run.zero_record_no + done + k),
                           block.data() + static_cast<std::size_t>(k) * Z_Record_Size);
        failure.Note(file.Write_Block(static_cast<std::uint64_t>(run.first + done),
                                      static_cast<std::uint64_t>(count), block.data()),
                     file.Path(), file.Error());
    }
}

} // namespace

void Index_Batch::Write(const std::string& folder, const Z_Count_Table& counts, bool headers,
                        File_Failure& failure) {
    for (const auto& [pair, entries] : pairs_) {
        Record_File file(Data_File_Path(folder, Z_File_Name(pair.first, pair.second)),
                         Z_Record_Size);
        for (const auto& run : entries.runs) {
            if (run.zero_record_no != 0) {
                Write_Zero_Records(file, run, failure);
                continue;
            }
            for (std::size_t k = 0; k < run.pieces.size(); ++k) {
                const auto done = static_cast<std::int64_t>(k * Piece_Entries);
                const auto count = std::min<std::int64_t>(Piece_Entries, run.count - done);
                failure.Note(file.Write_Block(static_cast<std::uint64_t>(run.first + done),
                                              static_cast<std::uint64_t>(count), run.pieces[k]),
                             file);
            }
        }
        if (headers && Has_Z_Header(pair.first, pair.second))
            failure.Note(Write_Z_Header(counts, file, pair.first, pair.second), file);
    }
    if (!headers)
        return;
    Each_Z_Header_Pair([&](int fuel, int volume) {
        if (pairs_.find({fuel, volume}) == pairs_.end()) {
            Record_File file(Data_File_Path(folder, Z_File_Name(fuel, volume)), Z_Record_Size);
            failure.Note(Write_Z_Header(counts, file, fuel, volume), file);
        }
    });
}

File_Failure Write_Z_Headers(const std::string& folder, const Z_Count_Table& counts) {
    File_Failure failure;
    Each_Z_Header_Pair([&](int fuel, int volume) {
        Record_File file(Data_File_Path(folder, Z_File_Name(fuel, volume)), Z_Record_Size);
        failure.Note(Write_Z_Header(counts, file, fuel, volume), file);
    });
    return failure;
}

} // namespace td

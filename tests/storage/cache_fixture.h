// A data folder with a database and a company file, written through the storage layer, for the
// tests of the rebuild passes and of defragmentation.
#pragma once

#include "base/dates.h"
#include "kernel/cache_passes.h"
#include "kernel/state.h"
#include "storage/header.h"
#include "storage/record_file.h"
#include "storage/records.h"
#include "support/fakes.h"
#include "support/temp_folder.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace td::test {

static_assert(std::endian::native == std::endian::little,
              "the expected bytes below are built with the host's byte order");

using Bytes = std::vector<std::uint8_t>;

struct Ticket_Fields {
    int fuel = 1;
    int volume = 10;
    int company = 1;
    double sell = 0;
    std::string serial = "000001";
    int used = 0;
    int deleted = 0;
    double validation = 0;
    double real = 0;
    int station = 0;
};

inline Ticket_Record Make_Ticket(const Ticket_Fields& s) {
    Ticket_Record t;
    t.Used = static_cast<std::uint8_t>(s.used);
    t.Deleted = static_cast<std::uint8_t>(s.deleted);
    t.Fuel = static_cast<std::uint8_t>(s.fuel);
    t.Volume = s.volume;
    t.Real_Volume = s.real;
    t.Set_Serial(s.serial);
    t.Company = s.company;
    t.Sale_Mark = 1;
    t.Establishment = s.station;
    t.Sell_Date = s.sell;
    t.Validation_Date = s.validation;
    return t;
}

// Little-endian writers of our own, so that expected bytes don't come from the code under test.
// The whole file in one read (the totals files are megabytes; byte-wise stream reading is slow in
// an unoptimised build). A missing file reads as empty.
inline Bytes Whole_File(const std::string& path) {
    Record_File file(path, 1, Record_File::Mode::Read_Only);
    Bytes bytes(file.Size());
    if (!bytes.empty() && !file.Read_Bytes(0, bytes.size(), bytes.data()))
        bytes.clear();
    return bytes;
}

// Byte strings one after the other: the fields of a record, the records of a file.
inline Bytes Join(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Sets the write budget of the file layer (the bytes that still fit on the disk) for one scope.
struct Write_Budget {
    explicit Write_Budget(long long bytes) { record_file_hook::Write_Budget = bytes; }
    ~Write_Budget() { record_file_hook::Write_Budget = -1; }
};

template <typename T> void Put(Bytes& bytes, std::size_t at, T value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

class Data_Folder_Test : public ::testing::Test {
protected:
    Temp_Folder folder;
    Program_State state;
    Fake_Ui ui;
    Fake_Clock clock;
    double today = Date_Serial(2024, 3, 15);

    Data_Folder_Test() {
        state.Data_Folder = folder.Path();
        state.Current_Date = today;
    }

    std::string Path(const std::string& name) const { return folder.File(name); }
    Bytes File_Bytes(const std::string& name) const { return Whole_File(Path(name)); }

    // The database with a header for `header_count` tickets (the number of tickets by default).
    void Write_Database(const std::vector<Ticket_Record>& tickets, long header_count = -1) {
        const std::string path = Path(state.settings.Database_File);
        ASSERT_TRUE(Create_Header(path, header_count < 0 ? static_cast<long>(tickets.size())
                                                         : header_count));
        if (tickets.empty())
            return;
        Bytes bytes(tickets.size() * Ticket_Record_Size);
        for (std::size_t i = 0; i < tickets.size(); ++i)
            Encode(tickets[i], bytes.data() + i * Ticket_Record_Size);
        Record_File db(path, Ticket_Record_Size);
        ASSERT_TRUE(db.Write_Block(1 + Header_Records_Offset, tickets.size(), bytes.data()));
    }

    void Write_Companies(const std::vector<std::string>& names) {
        Bytes bytes(names.size() * Company_Record_Size);
        for (std::size_t i = 0; i < names.size(); ++i) {
            Company_Record c;
            c.Exists = 1;
            c.Code = std::to_string(i + 1);
            c.Kind_Code = "1";
            c.Name = names[i];
            Encode(c, bytes.data() + i * Company_Record_Size);
        }
        Write_All_Bytes(Path(state.settings.Company_File), bytes);
    }

    std::string Run(const std::string& mode, const std::string& target = "null") {
        return CreateCacheFile(state, ui, clock, state.settings.Cache_User_File, mode, 0, "",
                               state.settings.Database_File, target);
    }
};

} // namespace td::test

// The number index files as a pass builds them: entries kept per pair in memory, each file written
// once at the end.
#pragma once

#include "storage/file_failure.h"
#include "storage/huge_memory.h"
#include "storage/number_index.h"
#include "storage/records.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace td {

// Calls `visit(fuel, volume)` for every pair whose index file has a header: the standard volumes
// of every fuel slot.
template <typename Visit> void Each_Z_Header_Pair(Visit visit) {
    for (int fuel = 1; fuel <= Fuel_Slots; ++fuel)
        for (int volume = 10; volume <= 100; volume += 10)
            visit(fuel, volume);
}

// Writes Z_Header (mark and count) at record 1 of the index file of fuels 1..8 and volumes
// 10, 20, ... 100 in `folder`, creating the files that are missing.
File_Failure Write_Z_Headers(const std::string& folder, const Z_Count_Table& counts);

// The number index entries of one pass, kept per pair and written at the end, each file once, at
// the record numbers the running counts gave. A pair's file is opened (and so created) as soon as
// a ticket of it comes, even when its count can't take the entry.
class Index_Batch {
public:
    // Entries are kept in pieces of a fixed size, taken in turn from one block of memory sized for
    // the whole pass: nothing is copied as a pair grows.
    static constexpr std::size_t Piece_Entries = 2048;
    static constexpr std::size_t Piece_Bytes = Piece_Entries * Z_Record_Size;

    class Pieces {
    public:
        explicit Pieces(long long tickets) {
            // At most one entry per ticket, plus a part-filled last piece per pair.
            const auto pieces = static_cast<std::size_t>(std::max(tickets, 0LL)) / Piece_Entries +
                                (Max_Fuel + 1) * (Max_Volume + 1) + 1;
            try {
                memory_ = Huge_Memory(pieces * Piece_Bytes);
            } catch (const std::bad_alloc&) {
                // Pieces then come one by one from the heap.
            }
        }
        std::uint8_t* Take() {
            if (used_ + Piece_Bytes <= memory_.size()) {
                std::uint8_t* piece = static_cast<std::uint8_t*>(memory_.data()) + used_;
                used_ += Piece_Bytes;
                return piece;
            }
            spare_.push_back(std::make_unique<std::uint8_t[]>(Piece_Bytes));
            return spare_.back().get();
        }

    private:
        Huge_Memory memory_;
        std::size_t used_ = 0;
        std::vector<std::unique_ptr<std::uint8_t[]>> spare_;
    };

    struct Pair_Entries {
        // Entries for consecutive index records from `first` on. A run of zero records keeps no
        // entries: they differ only in their record numbers, from `zero_record_no` on, and are
        // made as the file is written.
        struct Run {
            std::int64_t first = 0;
            std::int64_t count = 0;
            std::vector<std::uint8_t*> pieces;
            std::int64_t zero_record_no = 0; // not 0: a run of zero records
        };
        std::vector<Run> runs;

        void Add(Pieces& pieces, std::int64_t record, const Ticket_Record& ticket,
                 std::int32_t record_no) {
            if (runs.empty() || runs.back().first + runs.back().count != record ||
                runs.back().zero_record_no != 0)
                runs.push_back({record, 0, {}, 0});
            Run& run = runs.back();
            const auto slot = static_cast<std::size_t>(run.count) % Piece_Entries;
            if (slot == 0)
                run.pieces.push_back(pieces.Take());
            Encode_Z_Entry(ticket, record_no, run.pieces.back() + slot * Z_Record_Size);
            ++run.count;
        }
    };

    explicit Index_Batch(long long tickets) : pieces_(tickets) {}

    // The pair's entries. Pairs inside the count table are found by position, since with a
    // realistic mix the pair changes at nearly every ticket; any other pair through the map.
    Pair_Entries& Open(int fuel, int volume) {
        if (!Z_Count_Table::In_Bounds(fuel, volume))
            return pairs_[{fuel, volume}];
        Pair_Entries*& slot =
            by_position_[static_cast<std::size_t>(fuel * (Max_Volume + 1) + volume)];
        if (slot == nullptr)
            slot = &pairs_[{fuel, volume}];
        return *slot;
    }

    void Add(Pair_Entries& pair, std::int64_t record, const Ticket_Record& ticket,
             std::int32_t record_no) {
        pair.Add(pieces_, record, ticket, record_no);
    }

    // `count` entries of zero records at index records `record`, `record` + 1, ... whose database
    // records are `record_no`, `record_no` + 1, ...: nothing is kept per entry.
    void Add_Zero_Records(Pair_Entries& pair, std::int64_t record, std::int64_t count,
                          std::int32_t record_no) {
        if (count > 0 && record_no != 0)
            pair.runs.push_back({record, count, {}, record_no});
    }

    // Writes every pair's entries into the index files of `folder`; with `headers`, also every
    // header the index has, each in the same open as its pair's entries where the pair got any.
    // Failures only cost their own write: the first is kept in `failure`.
    void Write(const std::string& folder, const Z_Count_Table& counts, bool headers,
               File_Failure& failure);

private:
    Pieces pieces_;
    std::map<std::pair<int, int>, Pair_Entries> pairs_; // map nodes stay where they are
    std::vector<Pair_Entries*> by_position_ =
        std::vector<Pair_Entries*>((Max_Fuel + 1) * (Max_Volume + 1), nullptr);
};

} // namespace td

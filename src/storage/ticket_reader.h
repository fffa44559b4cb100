// Reading the database's tickets in order, in blocks, for the passes over all of them. A thread of
// its own reads ahead while the pass works on the blocks already read, so that copying the
// database out of the page cache and the pass's own work overlap.
#pragma once

#include "storage/file_failure.h"
#include "storage/record_file.h"
#include "storage/records.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>

namespace td {

// Reads tickets first..first+count-1 into `out`. A ticket whose record can't be read (an I/O
// error, or a record number below 1 under an odd offset) gets `previous`: a pass keeps the
// previous content of its working record, as a failed read leaves it. False on an I/O error.
bool Read_Tickets(const Record_File& file, long long offset, long long first, long long count,
                  Ticket_Record* out, const Ticket_Record& previous);

// How many of tickets 1..count (ticket i at record i + offset) have a record that begins inside a
// file of `file_size` bytes. Those behind are zero records by the rule for reading past the end,
// and need no reading.
long long Tickets_In_File(std::uint64_t file_size, long long offset, long long count);

class Ticket_Reader {
public:
    static constexpr long long Block_Tickets = 8192; // 576 KB: still in the cache when worked on

    // Tickets 1..count of the database behind `file`, ticket i at record i + offset. With `table`,
    // ticket i lands in table[i] and stays there; without, blocks pass through a few buffers of
    // the reader's own. More than one block is read ahead on a thread of its own.
    Ticket_Reader(const Record_File& file, long long offset, long long count,
                  Ticket_Record* table = nullptr);
    ~Ticket_Reader();
    Ticket_Reader(const Ticket_Reader&) = delete;
    Ticket_Reader& operator=(const Ticket_Reader&) = delete;

    long long Blocks() const { return blocks_; }
    long long First_Of(long long block) const { return 1 + block * Block_Tickets; }
    long long Count_Of(long long block) const;

    // The tickets of block 0, 1, 2, ... in turn, once read. Without a table, the block stays valid
    // until the next call.
    const Ticket_Record* Next();

    // The first read of the database that failed, among the blocks Next() has handed out.
    const File_Failure& Read_Failure() const { return read_failure_; }

private:
    Ticket_Record* Destination(long long block);
    void Read(long long block);
    void Read_All();

    const Record_File& file_;
    long long offset_;
    long long count_;
    long long blocks_;
    Ticket_Record* table_;
    // Ring_Blocks buffers when there is no table; left unfilled, since every read overwrites them.
    std::unique_ptr<std::byte[]> ring_;
    Ticket_Record previous_{};  // the last ticket read, for the unreadable ones after it
    File_Failure read_failure_; // written by the reading side, published with read_

    long long next_ = 0;              // the block Next() hands out next
    std::atomic<long long> read_{0};  // blocks read so far
    std::atomic<long long> freed_{0}; // blocks the pass is done with
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace td

#include "storage/ticket_reader.h"

#include <algorithm>
#include <cstdint>
#include <system_error>

namespace td {

namespace {

// Buffers a reader without a table cycles through: enough to keep it a few blocks ahead.
constexpr long long Ring_Blocks = 4;

// Waits until `counter` exceeds `value`. A block takes a few hundred microseconds, so the wait
// spins a little before it sleeps: putting a thread to sleep and waking it costs more than that.
void Wait_Beyond(std::atomic<long long>& counter, long long value) {
    for (int spin = 0; spin < 20000; ++spin) {
        if (counter.load(std::memory_order_acquire) > value)
            return;
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
    for (long long now = counter.load(std::memory_order_acquire); now <= value;
         now = counter.load(std::memory_order_acquire))
        counter.wait(now, std::memory_order_acquire);
}

} // namespace

bool Read_Tickets(const Record_File& file, long long offset, long long first, long long count,
                  Ticket_Record* out, const Ticket_Record& previous) {
    // Record numbers start at 1; with an odd offset the first tickets have none.
    const long long end = first + count;
    const long long readable_from = std::clamp(1 - offset, first, end);
    bool ok = true;
    if (readable_from < end)
        ok = file.Read_Block(static_cast<std::uint64_t>(readable_from + offset),
                             static_cast<std::uint64_t>(end - readable_from),
                             reinterpret_cast<std::uint8_t*>(out + (readable_from - first)));
    std::fill(out, out + (ok ? readable_from - first : count), previous);
    return ok;
}

long long Tickets_In_File(std::uint64_t file_size, long long offset, long long count) {
    const auto records = static_cast<long long>((file_size + Ticket_Record_Size - 1) /
                                                Ticket_Record_Size); // a part record counts
    return std::clamp(records - offset, 0LL, std::max(count, 0LL));
}

Ticket_Reader::Ticket_Reader(const Record_File& file, long long offset, long long count,
                             Ticket_Record* table)
    : file_(file), offset_(offset), count_(std::max(count, 0LL)),
      blocks_((count_ + Block_Tickets - 1) / Block_Tickets), table_(table) {
    if (table_ == nullptr && count_ > 0)
        ring_.reset(new std::byte[static_cast<std::size_t>(std::min(blocks_, Ring_Blocks) *
                                                           std::min(count_, Block_Tickets)) *
                                  sizeof(Ticket_Record)]);
    if (blocks_ < 2)
        return;
    try {
        thread_ = std::thread([this] { Read_All(); });
    } catch (const std::system_error&) {
        // Without a thread, Next() reads each block itself.
    }
}

Ticket_Reader::~Ticket_Reader() {
    stop_.store(true);
    freed_.store(blocks_);
    freed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

long long Ticket_Reader::Count_Of(long long block) const {
    return std::min(Block_Tickets, count_ - block * Block_Tickets);
}

Ticket_Record* Ticket_Reader::Destination(long long block) {
    if (table_ != nullptr)
        return table_ + First_Of(block);
    const long long slot = block % Ring_Blocks;
    return reinterpret_cast<Ticket_Record*>(ring_.get()) + slot * std::min(count_, Block_Tickets);
}

void Ticket_Reader::Read(long long block) {
    Ticket_Record* out = Destination(block);
    const long long count = Count_Of(block);
    read_failure_.Note(Read_Tickets(file_, offset_, First_Of(block), count, out, previous_), file_);
    previous_ = out[count - 1];
}

void Ticket_Reader::Read_All() {
    for (long long block = 0; block < blocks_ && !stop_.load(); ++block) {
        if (table_ == nullptr) {
            // Wait until the pass is done with the buffer this block goes into.
            Wait_Beyond(freed_, block - Ring_Blocks);
            if (stop_.load())
                return;
        }
        Read(block);
        read_.store(block + 1, std::memory_order_release);
        read_.notify_one();
    }
}

const Ticket_Record* Ticket_Reader::Next() {
    const long long block = next_++;
    if (block >= blocks_)
        return nullptr;
    if (block > 0) {
        freed_.store(block, std::memory_order_release);
        freed_.notify_one();
    }
    if (!thread_.joinable()) {
        Read(block);
    } else {
        Wait_Beyond(read_, block);
    }
    return Destination(block);
}

} // namespace td

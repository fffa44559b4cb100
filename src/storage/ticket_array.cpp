#include "storage/ticket_array.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace td {

namespace {

constexpr std::size_t Huge_Page = std::size_t{2} << 20;

// Tables from this size on get a mapping of their own with huge pages advised.
constexpr std::size_t Mapped_From = 4 * Huge_Page;

struct Block {
    void* memory = nullptr;
    std::size_t mapped_bytes = 0;
};

// Anonymous memory aligned to a huge page: the kernel can then back it with 2 MB pages, one
// fault each instead of 512.
Block Map_Aligned(std::size_t bytes) {
    const std::size_t length = (bytes + Huge_Page - 1) / Huge_Page * Huge_Page;
    void* area = ::mmap(nullptr, length + Huge_Page, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED)
        throw std::bad_alloc();
    const auto start = reinterpret_cast<std::uintptr_t>(area);
    const std::uintptr_t aligned = (start + Huge_Page - 1) / Huge_Page * Huge_Page;
    if (aligned > start)
        ::munmap(area, aligned - start);
    const std::size_t tail = start + length + Huge_Page - (aligned + length);
    if (tail > 0)
        ::munmap(reinterpret_cast<void*>(aligned + length), tail);
#ifdef MADV_HUGEPAGE
    ::madvise(reinterpret_cast<void*>(aligned), length, MADV_HUGEPAGE);
#endif
    return {reinterpret_cast<void*>(aligned), length};
}

Block Allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(Ticket_Record);
    if (count > static_cast<std::size_t>(-1) / sizeof(Ticket_Record) / 2)
        throw std::bad_alloc();
    if (bytes >= Mapped_From)
        return Map_Aligned(bytes);
    void* memory = std::malloc(std::max<std::size_t>(bytes, 1));
    if (memory == nullptr)
        throw std::bad_alloc();
    return {memory, 0};
}

void Free(void* memory, std::size_t mapped_bytes) {
    if (memory == nullptr)
        return;
    if (mapped_bytes > 0)
        ::munmap(memory, mapped_bytes);
    else
        std::free(memory);
}

} // namespace

Ticket_Array::~Ticket_Array() {
    Release();
}

Ticket_Array::Ticket_Array(const Ticket_Array& other) {
    Resize_For_Overwrite(other.size_);
    if (size_ > 0)
        std::memcpy(static_cast<void*>(data_), other.data_, size_ * sizeof(Ticket_Record));
}

Ticket_Array& Ticket_Array::operator=(const Ticket_Array& other) {
    if (this != &other) {
        Ticket_Array copy(other);
        *this = std::move(copy);
    }
    return *this;
}

Ticket_Array::Ticket_Array(Ticket_Array&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      mapped_bytes_(std::exchange(other.mapped_bytes_, 0)) {}

Ticket_Array& Ticket_Array::operator=(Ticket_Array&& other) noexcept {
    if (this != &other) {
        Release();
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        mapped_bytes_ = std::exchange(other.mapped_bytes_, 0);
    }
    return *this;
}

void Ticket_Array::Release() {
    Free(data_, mapped_bytes_);
    data_ = nullptr;
    size_ = capacity_ = mapped_bytes_ = 0;
}

void Ticket_Array::Reallocate(std::size_t capacity) {
    Block block = Allocate(capacity);
    if (size_ > 0)
        std::memcpy(block.memory, static_cast<const void*>(data_), size_ * sizeof(Ticket_Record));
    Free(data_, mapped_bytes_);
    data_ = static_cast<Ticket_Record*>(block.memory);
    capacity_ = capacity;
    mapped_bytes_ = block.mapped_bytes;
}

void Ticket_Array::reserve(std::size_t count) {
    if (count > capacity_)
        Reallocate(count);
}

void Ticket_Array::Resize_For_Overwrite(std::size_t count) {
    if (count > capacity_) {
        // Nothing needs keeping beyond what the caller overwrites anyway: drop the old block first,
        // so that the peak holds one table, not two.
        if (size_ == 0)
            Release();
        Reallocate(count);
    }
    size_ = count;
}

void Ticket_Array::assign(std::size_t count, const Ticket_Record& value) {
    const Ticket_Record copy = value;
    if (count > capacity_) {
        Release();
        Reallocate(count);
    }
    std::fill(data_, data_ + count, copy);
    size_ = count;
}

void Ticket_Array::resize(std::size_t count, const Ticket_Record& value) {
    const Ticket_Record copy = value;
    if (count > capacity_)
        Reallocate(std::max(count, capacity_ + capacity_ / 2));
    if (count > size_)
        std::fill(data_ + size_, data_ + count, copy);
    size_ = count;
}

void Ticket_Array::push_back(const Ticket_Record& value) {
    const Ticket_Record copy = value; // `value` may be one of ours, about to move
    if (size_ == capacity_)
        Reallocate(std::max<std::size_t>(16, capacity_ + capacity_ / 2));
    data_[size_++] = copy;
}

} // namespace td

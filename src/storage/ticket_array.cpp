#include "storage/ticket_array.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace td {

namespace {

// Tables from this size on get memory of their own, with huge pages.
constexpr std::size_t Mapped_From = std::size_t{8} << 20;

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
      capacity_(std::exchange(other.capacity_, 0)), mapped_(std::move(other.mapped_)) {}

Ticket_Array& Ticket_Array::operator=(Ticket_Array&& other) noexcept {
    if (this != &other) {
        Release();
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        mapped_ = std::move(other.mapped_);
    }
    return *this;
}

void Ticket_Array::Release() {
    if (mapped_.data() == nullptr)
        std::free(data_);
    mapped_ = Huge_Memory();
    data_ = nullptr;
    size_ = capacity_ = 0;
}

void Ticket_Array::Reallocate(std::size_t capacity) {
    if (capacity > static_cast<std::size_t>(-1) / 2 / sizeof(Ticket_Record))
        throw std::bad_alloc();
    const std::size_t bytes = capacity * sizeof(Ticket_Record);
    // A mapped table grows where it is: its pages move rather than being copied.
    if (mapped_.data() != nullptr && mapped_.Grow(bytes)) {
        data_ = static_cast<Ticket_Record*>(mapped_.data());
        capacity_ = capacity;
        return;
    }
    Huge_Memory mapped;
    void* memory = nullptr;
    if (bytes >= Mapped_From) {
        mapped = Huge_Memory(bytes);
        memory = mapped.data();
    } else {
        memory = std::malloc(std::max<std::size_t>(bytes, 1));
        if (memory == nullptr)
            throw std::bad_alloc();
    }
    if (size_ > 0)
        std::memcpy(memory, static_cast<const void*>(data_), size_ * sizeof(Ticket_Record));
    if (mapped_.data() == nullptr)
        std::free(data_);
    mapped_ = std::move(mapped); // gives back the old mapping, if any
    data_ = static_cast<Ticket_Record*>(memory);
    capacity_ = capacity;
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

void Ticket_Array::Resize_With_Zero_Tail(std::size_t count, std::size_t zero_from) {
    zero_from = std::min(zero_from, count);
    if ((count - zero_from) * sizeof(Ticket_Record) >= Mapped_From) {
        // Fresh mapped memory reads as zeros: the tail needs no filling. Nothing before
        // `zero_from` needs keeping either, so the old block goes first.
        Release();
        Reallocate(count);
        size_ = count;
        return;
    }
    Resize_For_Overwrite(count);
    std::fill(data_ + zero_from, data_ + count, Ticket_Record{});
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

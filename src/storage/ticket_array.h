// The in-memory ticket table: a vector of Ticket_Record whose storage a pass can take without
// filling it first, so that blocks of the database are read straight into it. Large tables live
// in memory of their own, aligned for huge pages: at ten million tickets the table is 720 MB, and
// faulting it in 4 KB pages costs more than reading the database.
#pragma once

#include "storage/huge_memory.h"
#include "storage/records.h"

#include <cstddef>

namespace td {

class Ticket_Array {
public:
    Ticket_Array() = default;
    ~Ticket_Array();
    Ticket_Array(const Ticket_Array& other);
    Ticket_Array& operator=(const Ticket_Array& other);
    Ticket_Array(Ticket_Array&& other) noexcept;
    Ticket_Array& operator=(Ticket_Array&& other) noexcept;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::size_t capacity() const { return capacity_; }

    Ticket_Record& operator[](std::size_t i) { return data_[i]; }
    const Ticket_Record& operator[](std::size_t i) const { return data_[i]; }
    Ticket_Record* data() { return data_; }
    const Ticket_Record* data() const { return data_; }
    Ticket_Record* begin() { return data_; }
    Ticket_Record* end() { return data_ + size_; }
    const Ticket_Record* begin() const { return data_; }
    const Ticket_Record* end() const { return data_ + size_; }
    Ticket_Record& back() { return data_[size_ - 1]; }
    const Ticket_Record& back() const { return data_[size_ - 1]; }

    // As the standard vector's; they throw std::bad_alloc when memory runs out.
    void assign(std::size_t count, const Ticket_Record& value);
    void resize(std::size_t count, const Ticket_Record& value = Ticket_Record{});
    void push_back(const Ticket_Record& value);
    void reserve(std::size_t count);
    void clear() { size_ = 0; }
    // Gives the memory back.
    void Release();

    // `count` elements whose bytes the caller overwrites before reading any: elements that were
    // there keep their contents, the others hold whatever the memory held.
    void Resize_For_Overwrite(std::size_t count);
    // The same, but elements from `zero_from` on read as zero records. A long zero tail costs no
    // memory until it is written: it lies in fresh memory that is never touched.
    void Resize_With_Zero_Tail(std::size_t count, std::size_t zero_from);

private:
    void Reallocate(std::size_t capacity);

    Ticket_Record* data_ = nullptr; // in mapped_ for large tables, from malloc for small ones
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    Huge_Memory mapped_;
};

} // namespace td

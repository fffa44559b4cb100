// Anonymous memory of its own, aligned to 2 MB with huge pages advised: the kernel can then back
// it with one fault per 2 MB instead of one per 4 KB, which at hundreds of megabytes costs more
// than the work done in the memory.
#pragma once

#include <cstddef>

namespace td {

class Huge_Memory {
public:
    Huge_Memory() = default;
    // At least `bytes` bytes, zero until written; throws std::bad_alloc when there is no memory.
    explicit Huge_Memory(std::size_t bytes);
    ~Huge_Memory();
    Huge_Memory(const Huge_Memory&) = delete;
    Huge_Memory& operator=(const Huge_Memory&) = delete;
    Huge_Memory(Huge_Memory&& other) noexcept;
    Huge_Memory& operator=(Huge_Memory&& other) noexcept;

    // Makes the memory at least `bytes` long, keeping what it holds; its pages move, they are not
    // copied, so that growing a table of hundreds of megabytes costs neither time nor a second
    // copy's memory. The memory may move. False (and nothing changed) when there is no memory.
    bool Grow(std::size_t bytes);

    void* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    void* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace td

#include "storage/huge_memory.h"

#include <cstdint>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace td {

namespace {
constexpr std::size_t Huge_Page = std::size_t{2} << 20;
}

Huge_Memory::Huge_Memory(std::size_t bytes) {
    if (bytes == 0)
        return;
    if (bytes > static_cast<std::size_t>(-1) / 2)
        throw std::bad_alloc();
    const std::size_t length = (bytes + Huge_Page - 1) / Huge_Page * Huge_Page;
    // Map a huge page more than needed, then give back the unaligned head and the tail.
    void* area = ::mmap(nullptr, length + Huge_Page, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (area == MAP_FAILED)
        throw std::bad_alloc();
    const auto start = reinterpret_cast<std::uintptr_t>(area);
    const std::uintptr_t aligned = (start + Huge_Page - 1) / Huge_Page * Huge_Page;
    if (aligned > start)
        ::munmap(area, aligned - start);
    const std::uintptr_t end = start + length + Huge_Page;
    if (end > aligned + length)
        ::munmap(reinterpret_cast<void*>(aligned + length), end - (aligned + length));
#ifdef MADV_HUGEPAGE
    ::madvise(reinterpret_cast<void*>(aligned), length, MADV_HUGEPAGE);
#endif
    data_ = reinterpret_cast<void*>(aligned);
    size_ = length;
}

bool Huge_Memory::Grow(std::size_t bytes) {
    if (bytes <= size_)
        return true;
    if (data_ == nullptr || bytes > static_cast<std::size_t>(-1) / 2)
        return false;
    const std::size_t length = (bytes + Huge_Page - 1) / Huge_Page * Huge_Page;
    void* moved = ::mremap(data_, size_, length, MREMAP_MAYMOVE);
    if (moved == MAP_FAILED)
        return false;
#ifdef MADV_HUGEPAGE
    ::madvise(moved, length, MADV_HUGEPAGE);
#endif
    data_ = moved;
    size_ = length;
    return true;
}

Huge_Memory::~Huge_Memory() {
    if (data_ != nullptr)
        ::munmap(data_, size_);
}

Huge_Memory::Huge_Memory(Huge_Memory&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

Huge_Memory& Huge_Memory::operator=(Huge_Memory&& other) noexcept {
    if (this != &other) {
        if (data_ != nullptr)
            ::munmap(data_, size_);
        data_ = std::exchange(other.data_, nullptr);
        size_ = std::exchange(other.size_, 0);
    }
    return *this;
}

} // namespace td

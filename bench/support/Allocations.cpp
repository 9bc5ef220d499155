// Replaces the program's operator new by one that counts. The array and nothrow forms of the library end up
// here as well.
#include "bench/support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t count = 0;

void* counted(void* memory) {
    ++count;
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return counted(std::malloc(size));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto unit = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(unit, (size + unit - 1) / unit * unit));
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace zelkor::bench {
std::uint64_t allocationsOfThisThread() noexcept {
    return count;
}
} // namespace zelkor::bench

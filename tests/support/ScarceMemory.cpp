#include "support/ScarceMemory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool counting = false;
thread_local bool lastingFailure = false;
thread_local std::uint64_t failing = 0;
thread_local std::uint64_t allocations = 0;

bool mayAllocate() {
    if (!counting) return true;
    ++allocations;
    return lastingFailure ? failing == 0 || allocations < failing : allocations != failing;
}

} // namespace

void* operator new(std::size_t size) {
    void* memory = mayAllocate() ? std::malloc(size == 0 ? 1 : size) : nullptr;
    if (!memory) throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return mayAllocate() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace orv::test {

void failAllocation(std::uint64_t number, bool lasting) {
    failing = number;
    lastingFailure = lasting;
    allocations = 0;
    counting = true;
}

std::uint64_t endOfScarcity() {
    counting = false;
    return allocations;
}

} // namespace orv::test

// SPDX-License-Identifier: Apache-2.0
#include "FailingAllocator.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace {

// No dynamic initialisation and no lazy thread storage: all of this is used before anything else runs.
std::atomic<long> g_blocks{0};
thread_local long t_left = 0;  // allocations until the failing one; 0: there is no shortage
thread_local bool t_isLasting = false;
thread_local bool t_hasFailed = false;

bool Refuses()
{
    if (t_left == 0) return false;
    if (t_left > 1) {
        --t_left;
        return false;
    }
    if (t_hasFailed && !t_isLasting) return false;
    t_hasFailed = true;
    errno = ENOMEM;
    return true;
}

void* Counted(void* memory)
{
    if (memory != nullptr) ++g_blocks;
    return memory;
}

}  // namespace

// The allocator of glibc under the names that it keeps for programs which bring malloc.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    return Refuses() ? nullptr : Counted(__libc_malloc(size));
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    return Refuses() ? nullptr : Counted(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* realloc(void* memory, std::size_t size)
{
    if (memory == nullptr) return malloc(size);
    if (size == 0) --g_blocks;  // glibc frees it
    return size != 0 && Refuses() ? nullptr : __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void* memalign(std::size_t alignment, std::size_t size);
__attribute__((visibility("default"))) void* memalign(std::size_t alignment, std::size_t size)
{
    return Refuses() ? nullptr : Counted(__libc_memalign(alignment, size));
}

__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

__attribute__((visibility("default"))) int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}

__attribute__((visibility("default"))) void free(void* memory)
{
    if (memory != nullptr) --g_blocks;
    __libc_free(memory);
}
}

namespace srcwatch_test {

void BeginShortage(long number, Shortage shortage)
{
    t_isLasting = shortage == Shortage::kLasting;
    t_hasFailed = false;
    t_left = number;
}

bool EndShortage()
{
    t_left = 0;
    return t_hasFailed;
}

long BlocksInUse() { return g_blocks; }

}  // namespace srcwatch_test

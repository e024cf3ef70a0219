// Owners of heap blocks and files; each releases its resource at the end of its scope.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

namespace pm {

struct HeapRelease {
    void operator()(void* block) const { std::free(block); }
};
// A block from malloc, whether allocated by pm or by an outside call.
template <typename T>
using HeapOwner = std::unique_ptr<T, HeapRelease>;

// Allocates a zero-initialised T with malloc. Null if memory is exhausted.
template <typename T>
HeapOwner<T> allocateCleared() {
    static_assert(std::is_trivially_destructible_v<T>);
    void* block = std::malloc(sizeof(T));
    return HeapOwner<T>(block == nullptr ? nullptr : new (block) T());
}

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileOwner = std::unique_ptr<std::FILE, FileClose>;

} // namespace pm

// Small owners: each releases what it holds on every path out of its scope.
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
// A block from the plain heap, ours or handed over by an outside call.
template <typename T>
using HeapOwner = std::unique_ptr<T, HeapRelease>;

// A cleared T in newly allocated heap memory; null if there is none.
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

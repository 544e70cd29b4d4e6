// Small blocks from the pool, beside general allocators.

#include "contests.h"
#include "inputs.h"

#include <core/foundation/mem_pool.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <memory_resource>
#include <numeric>
#include <random>
#include <stdexcept>

namespace bench {
namespace {

/// Loaded apart: a program that links mimalloc has all its memory from it.
struct Mimalloc {
    Mimalloc() {
        void* const library = dlopen(CORE_MIMALLOC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        alloc = reinterpret_cast<void* (*)(std::size_t)>(dlsym(library, "mi_malloc"));
        free = reinterpret_cast<void (*)(void*)>(dlsym(library, "mi_free"));
        collect = reinterpret_cast<void (*)(bool)>(dlsym(library, "mi_collect"));
        if (alloc == nullptr || free == nullptr || collect == nullptr) {
            throw std::runtime_error("mimalloc lacks mi_malloc, mi_free or mi_collect");
        }
    }
    void* Alloc(std::size_t size) { return alloc(size); }
    void Free(void* block, std::size_t) { free(block); }
    void Rewind() {}
    /// Gives what was freed back to the system.
    void Forget() { collect(true); }

    void* (*alloc)(std::size_t);
    void (*free)(void*);
    void (*collect)(bool);
};

struct Pool {
    void* Alloc(std::size_t size) { return pool.Alloc(size, 8); }
    void Free(void* block, std::size_t size) { pool.Dealloc(block, size); }
    void Rewind() {}
    void Forget() { pool.Clear(); }

    core::detail::MemPool pool{16384};
};

struct StandardPool {
    void* Alloc(std::size_t size) { return pool.allocate(size, 8); }
    void Free(void* block, std::size_t size) { pool.deallocate(block, size, 8); }
    void Rewind() {}

    std::pmr::unsynchronized_pool_resource pool;
};

/// Reuses nothing that was freed, and starts anew after each round.
struct Monotonic {
    void* Alloc(std::size_t size) { return memory.allocate(size, 8); }
    void Free(void* block, std::size_t size) { memory.deallocate(block, size, 8); }
    void Rewind() { memory.release(); }

    std::vector<std::byte> room = std::vector<std::byte>(std::size_t{4} << 20);
    std::pmr::monotonic_buffer_resource memory{room.data(), room.size()};
};

/// In which order blocks are freed, so that they are handed out again in it.
enum class Freed { InOrder, AtRandom };

template <class Memory>
void AllocAll(Memory& memory, std::vector<void*>& blocks, std::size_t size) {
    for (void*& block : blocks) {
        block = memory.Alloc(size);
        // Whoever asks for memory writes to it.
        *static_cast<volatile char*>(block) = 1;
    }
}

/// Allocates some blocks, frees them and allocates them again: per block, two
/// allocations and one release. The end, all blocks free, is not measured.
template <class Memory>
void Measure(Suite& suite, const std::string& name, std::size_t size, int count,
             Freed order = Freed::InOrder) {
    suite.Measure(name, [=](benchmark::State& state) {
        Memory memory;
        std::vector<void*> blocks(static_cast<std::size_t>(count));
        std::vector<std::uint32_t> places(blocks.size());
        std::iota(places.begin(), places.end(), 0U);
        if (order == Freed::AtRandom) {
            std::shuffle(places.begin(), places.end(), std::mt19937_64(1));
        }
        const auto allocAll = [&] { AllocAll(memory, blocks, size); };
        const auto freeAll = [&] {
            for (const std::uint32_t place : places) {
                memory.Free(blocks[place], size);
            }
        };
        while (state.KeepRunningBatch(count)) {
            allocAll();
            freeAll();
            allocAll();
            state.PauseTiming();
            freeAll();
            memory.Rewind();
            state.ResumeTiming();
        }
    });
}

/// Allocates some blocks after all memory was given back.
template <class Memory>
void MeasureCold(Suite& suite, const std::string& name, std::size_t size, int count) {
    suite.Measure(name, [=](benchmark::State& state) {
        Memory memory;
        std::vector<void*> blocks(static_cast<std::size_t>(count));
        while (state.KeepRunningBatch(count)) {
            AllocAll(memory, blocks, size);
            state.PauseTiming();
            for (void* const block : blocks) {
                memory.Free(block, size);
            }
            memory.Forget();
            state.ResumeTiming();
        }
    });
}

}  // namespace

void AddMemory(Suite& suite) {
    suite.Section("Small blocks: allocated, freed, allocated again");
    constexpr int kCount = 10'000;
    for (const std::size_t size : {32, 40, 64}) {
        const std::string bytes = std::to_string(size) + " bytes";
        const std::string ours = Name("blocks", bytes + "/MemPool", kCount);
        const std::string mimalloc = Name("blocks", bytes + "/mimalloc", kCount);
        const std::string standard = Name("blocks", bytes + "/pmr", kCount);
        Measure<Pool>(suite, ours, size, kCount);
        Measure<Mimalloc>(suite, mimalloc, size, kCount);
        Measure<StandardPool>(suite, standard, size, kCount);
        const std::string monotonic = Name("blocks", bytes + "/monotonic", kCount);
        Measure<Monotonic>(suite, monotonic, size, kCount);
        suite.Compare({bytes, kCount, ours, mimalloc, "mimalloc", size == 32 ? 0.6 : 0.75, 1.0});
        suite.Compare({bytes, kCount, ours, standard, "std::pmr pool", 0.0});
        suite.Compare({bytes, kCount, ours, monotonic, "std::pmr monotonic", 0.0});
    }

    suite.Section("64 bytes, where less is in the cache");
    constexpr int kMany = 1'000'000;
    for (const int count : {kCount, kMany}) {
        const std::string ours = Name("blocks", "freed at random/MemPool", count);
        const std::string mimalloc = Name("blocks", "freed at random/mimalloc", count);
        Measure<Pool>(suite, ours, 64, count, Freed::AtRandom);
        Measure<Mimalloc>(suite, mimalloc, 64, count, Freed::AtRandom);
        suite.Compare({"freed at random", count, ours, mimalloc, "mimalloc", 0.0});
    }
    for (const int count : {kCount, kMany}) {
        const std::string ours = Name("blocks", "all given back before/MemPool", count);
        const std::string mimalloc = Name("blocks", "all given back before/mimalloc", count);
        MeasureCold<Pool>(suite, ours, 64, count);
        MeasureCold<Mimalloc>(suite, mimalloc, 64, count);
        suite.Compare({"all given back before", count, ours, mimalloc, "mimalloc",
                       count == kMany ? 0.9 : 0.7});
    }
}

}  // namespace bench

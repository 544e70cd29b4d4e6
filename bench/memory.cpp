// Small blocks from the pool, beside general allocators.

#include "contests.h"
#include "inputs.h"

#include <core/foundation/mem_pool.h>

#include <dlfcn.h>

#include <memory_resource>
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
        if (alloc == nullptr || free == nullptr) {
            throw std::runtime_error("mimalloc has no mi_malloc");
        }
    }
    void* Alloc(std::size_t size) { return alloc(size); }
    void Free(void* block, std::size_t) { free(block); }
    void Rewind() {}

    void* (*alloc)(std::size_t);
    void (*free)(void*);
};

struct Pool {
    void* Alloc(std::size_t size) { return pool.Alloc(size, 8); }
    void Free(void* block, std::size_t size) { pool.Dealloc(block, size); }
    void Rewind() {}

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

/// Allocates some blocks, frees them and allocates them again: per block, two
/// allocations and one release. The end, all blocks free, is not measured.
template <class Memory>
void Measure(Suite& suite, const std::string& name, std::size_t size, int count) {
    suite.Measure(name, [=](benchmark::State& state) {
        Memory memory;
        std::vector<void*> blocks(static_cast<std::size_t>(count));
        const auto allocAll = [&] {
            for (void*& block : blocks) {
                block = memory.Alloc(size);
                // Whoever asks for memory writes to it.
                *static_cast<volatile char*>(block) = 1;
            }
        };
        const auto freeAll = [&] {
            for (void* const block : blocks) {
                memory.Free(block, size);
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
}

}  // namespace bench

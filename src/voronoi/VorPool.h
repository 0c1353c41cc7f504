#pragma once

// Storage of a diagram's darts and vertices. Not installed, not exported.
//
// A diagram makes a few objects per contour edge and frees most of them again during the
// joins, so objects come from a pool owned by the diagram: fast to take and give back, and
// whatever a failed construction leaves unreachable in the map is still destroyed, with
// its attributes, when the pool goes.

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define QM_VOR_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QM_VOR_POOL 0
#endif
#endif
#ifndef QM_VOR_POOL
#define QM_VOR_POOL 1
#endif

#if !QM_VOR_POOL
#include <unordered_set>
#endif

// Destroy::Run(T*) runs the destructor, which may be private to a friend.
template <typename T> struct VorPlainDestroy
{
    static void Run(T* p) { p->~T(); }
};

template <typename T, typename Destroy = VorPlainDestroy<T>> class VorPool
{
public:
    VorPool() = default;
    VorPool(VorPool const&) = delete;
    VorPool& operator=(VorPool const&) = delete;
    ~VorPool() { Clear(); }

    // Make is the caller's constructor call on the raw memory it is given: the objects'
    // constructors may be private to a friend of the caller.
    template <typename Make> T* New(Make make)
    {
#if QM_VOR_POOL
        void* mem = takeSlot();
        T* p = make(mem);
        chunkOf(p)->live[slotIndex(p)] = 1;
#else
        // Under AddressSanitizer every object is a heap block of its own, so a stale
        // access is caught.
        T* p = make(::operator new(sizeof(T)));
        live.insert(p);
#endif
        ++count;
        return p;
    }

    // Destroys p. Freeing an object that is not live here is the caller's fault.
    void Free(T* p)
    {
        if (p == nullptr)
            return;
#if QM_VOR_POOL
        Chunk* c = chunkOf(p);
        assert(c->live[slotIndex(p)] == 1);
        c->live[slotIndex(p)] = 0;
        Destroy::Run(p);
        auto* s = reinterpret_cast<FreeSlot*>(p);
        s->next = freeList;
        freeList = s;
#else
        const auto erased = live.erase(p);
        assert(erased == 1);
        (void)erased;
        Destroy::Run(p);
        ::operator delete(p);
#endif
        --count;
    }

    // Objects live now.
    std::size_t Count() const { return count; }

    // Destroys every live object and returns all memory.
    void Clear()
    {
#if QM_VOR_POOL
        for (Chunk* c : chunks)
        {
            for (std::size_t i = 0; i < c->used; ++i)
                if (c->live[i] != 0)
                    Destroy::Run(reinterpret_cast<T*>(c->slots() + i * slotSize));
            std::free(c);
        }
        chunks.clear();
        freeList = nullptr;
#else
        for (T* p : live)
        {
            Destroy::Run(p);
            ::operator delete(p);
        }
        live.clear();
#endif
        count = 0;
    }

private:
    std::size_t count = 0;
#if QM_VOR_POOL
    struct FreeSlot
    {
        FreeSlot* next;
    };
    static constexpr std::size_t align = alignof(T) > alignof(FreeSlot) ? alignof(T)
                                                                        : alignof(FreeSlot);
    static constexpr std::size_t slotSize =
        (std::max(sizeof(T), sizeof(FreeSlot)) + align - 1) / align * align;
    // Chunks are aligned on their own size, so a slot finds its chunk by masking.
    static constexpr std::size_t chunkBytes = 1 << 16;
    static constexpr std::size_t headerBytes = 64;
    static constexpr std::size_t slotsPerChunk = (chunkBytes - headerBytes) / (slotSize + 1);

    struct Chunk
    {
        std::size_t used;
        unsigned char* live; // one byte per slot, after the slots
        unsigned char* slots() { return reinterpret_cast<unsigned char*>(this) + headerBytes; }
    };
    static_assert(sizeof(Chunk) <= headerBytes, "chunk header too large");
    static_assert(headerBytes % align == 0, "slots misaligned");

    static Chunk* chunkOf(T const* p)
    {
        return reinterpret_cast<Chunk*>(reinterpret_cast<std::uintptr_t>(p) &
                                        ~static_cast<std::uintptr_t>(chunkBytes - 1));
    }
    static std::size_t slotIndex(T const* p)
    {
        const auto* c = reinterpret_cast<unsigned char const*>(chunkOf(p));
        return static_cast<std::size_t>(reinterpret_cast<unsigned char const*>(p) - c -
                                        headerBytes) /
               slotSize;
    }

    void* takeSlot()
    {
        if (freeList != nullptr)
        {
            FreeSlot* s = freeList;
            freeList = s->next;
            return s;
        }
        if (chunks.empty() || chunks.back()->used == slotsPerChunk)
        {
            void* mem = std::aligned_alloc(chunkBytes, chunkBytes);
            if (mem == nullptr)
                throw std::bad_alloc();
            auto* c = static_cast<Chunk*>(mem);
            c->used = 0;
            c->live = c->slots() + slotsPerChunk * slotSize;
            chunks.push_back(c);
        }
        Chunk* c = chunks.back();
        return c->slots() + c->used++ * slotSize;
    }

    std::vector<Chunk*> chunks;
    FreeSlot* freeList = nullptr;
#else
    std::unordered_set<T*> live;
#endif
};

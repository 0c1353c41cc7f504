#pragma once

#include <cassert>
#include <cstdint>
#include <new>

// Pool and intrusive list in one: the store behind each kind of mesh element.
//
// Slots are carved from raw blocks whose sizes run 512, 1024, ... 65536 bytes and then
// stay at 65536. Every slot of every block is on exactly one of two doubly linked chains:
// the live chain, newest element first, linked through the element's own next and prev;
// or the free chain, most recently freed first. Elements never move, so an element
// pointer is its identity; a freed slot is the next one taken.
//
// A free slot holds no object, so its links live in a small record of their own placed
// at the start of the slot; the element is constructed over it when the slot is taken.
//
// T derives from QmPstMesh::ele (links of type ele*). Its constructor and destructor
// must leave the links alone; they run in place and neither allocates nor frees a slot.
template <typename T> class QmCol
{
    struct FreeSlot
    {
        FreeSlot* next;
        FreeSlot* prev;
    };
    static_assert(sizeof(FreeSlot) <= sizeof(T), "a free slot must fit in an element's slot");

public:
    // A plain position on the live chain; null at the end. Registers nowhere.
    class Iter
    {
    public:
        explicit Iter(T* at = nullptr) : cur(at) {}
        bool IsEnd() const { return cur == nullptr; }
        T* Get() const { return cur; }
        void Next() { cur = static_cast<T*>(cur->next); }

    private:
        T* cur;
    };

    QmCol() = default;
    ~QmCol() { ReleaseAll(); }
    QmCol(QmCol const&) = delete;
    QmCol& operator=(QmCol const&) = delete;

    int GetCount() const { return count; }
    Iter Begin() const { return Iter(liveHead); }

    // Moves a slot from the free chain to the head of the live chain and constructs T in
    // it. Grows by one block when no slot is free.
    T* Take()
    {
        if (freeHead == nullptr)
            grow();
        FreeSlot* f = freeHead;
        freeHead = f->next;
        if (freeHead != nullptr)
            freeHead->prev = nullptr;
        T* s = new (static_cast<void*>(f)) T();
        s->next = liveHead;
        s->prev = nullptr;
        if (liveHead != nullptr)
            liveHead->prev = s;
        liveHead = s;
        ++count;
        return s;
    }

    // Destroys a live element and puts its slot at the head of the free chain. The memory
    // stays in its block; a stale pointer may later name another element.
    void GiveBack(T* e)
    {
        assert(e != nullptr && count > 0);
        T* before = static_cast<T*>(e->prev);
        T* after = static_cast<T*>(e->next);
        if (before != nullptr)
            before->next = after;
        if (after != nullptr)
            after->prev = before;
        if (liveHead == e)
            liveHead = after;
        e->~T();
        auto* f = new (static_cast<void*>(e)) FreeSlot{freeHead, nullptr};
        if (freeHead != nullptr)
            freeHead->prev = f;
        freeHead = f;
        --count;
    }

    // Destroys whatever is still live, frees every block newest first and returns to the
    // state of construction: the next growth starts again at 512 bytes.
    void ReleaseAll()
    {
        for (T* e = liveHead; e != nullptr;)
        {
            T* next = static_cast<T*>(e->next);
            e->~T();
            e = next;
        }
        while (blocks != nullptr)
        {
            void* older = *static_cast<void**>(blocks);
            ::operator delete(blocks);
            blocks = older;
        }
        count = 0;
        freeHead = nullptr;
        liveHead = nullptr;
        blockCurrent = blockInitial / 2;
    }

    // Introspection for tests and memory reports.
    std::int32_t GetBlockCurrent() const { return blockCurrent; }
    int GetNbBlock() const
    {
        int n = 0;
        for (void* b = blocks; b != nullptr; b = *static_cast<void**>(b))
            ++n;
        return n;
    }
    // The address of the slot the next Take will use; null when a block must be grown.
    void const* GetFreeHead() const { return freeHead; }

    // Slots a block of the given byte size holds: the link word comes off the top.
    static std::size_t SlotsPerBlock(std::int32_t blockBytes)
    {
        return static_cast<std::size_t>(blockBytes - linkBytes) / sizeof(T);
    }

private:
    // The block link takes one pointer; slots follow it directly.
    static constexpr std::int32_t linkBytes = static_cast<std::int32_t>(sizeof(void*));

    void grow()
    {
        blockCurrent = blockMax > 2 * blockCurrent ? 2 * blockCurrent : blockMax;
        const std::size_t capacity = SlotsPerBlock(blockCurrent);
        assert(capacity > 0);
        void* block = ::operator new(linkBytes + capacity * sizeof(T));
        *static_cast<void**>(block) = blocks;
        blocks = block;
        // Slots chain in ascending address order, so a fresh block is used front to back.
        char* first = static_cast<char*>(block) + linkBytes;
        FreeSlot* prev = nullptr;
        for (std::size_t i = 0; i < capacity; ++i)
        {
            auto* f = new (first + i * sizeof(T)) FreeSlot{nullptr, prev};
            if (prev != nullptr)
                prev->next = f;
            else
                freeHead = f;
            prev = f;
        }
    }

    std::int32_t count = 0;
    FreeSlot* freeHead = nullptr;
    T* liveHead = nullptr;
    std::int32_t blockInitial = 512;
    std::int32_t blockMax = 65536;
    std::int32_t blockCurrent = 256;
    void* blocks = nullptr;
};

#pragma once

#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

#include <cstdint>

// A growable array of element pointers: the elements of an unsplit node of a cache tree.
// The elements stay the mesh's; the array owns only its buffer, and not even that when
// borrowed is set (never the case in the cache itself).
//
// Growth rounds the capacity up to 16, 32, 64, ...; SetCapacity sets it exactly. Slots at
// and beyond count are always zero, so a buffer never holds a stale pointer.
class QM_API qmEleArray
{
public:
    bool borrowed = false;
    QmPstMesh::ele** data = nullptr;
    std::uint32_t count = 0;
    std::uint32_t capacity = 0;

    // Ready for expected elements, and empty: Resize(expected), then count 0.
    explicit qmEleArray(std::uint32_t expected);
    virtual ~qmEleArray();
    qmEleArray(qmEleArray const&) = delete;
    qmEleArray& operator=(qmEleArray const&) = delete;

    // n = 0 frees the buffer and zeroes every field but borrowed. Otherwise count becomes
    // n: beyond the capacity the buffer grows to the first of 16, 32, 64, ... not below
    // n; within it the slots from the old count up to n are zeroed.
    void Resize(std::uint32_t n);
    // Exactly n slots, growing or shrinking; shrinking cuts count to n. n = 0 frees.
    void SetCapacity(std::uint32_t n);
    // Appends and returns the index, growing as Resize(count + 1) would when full.
    std::uint32_t Push(QmPstMesh::ele* e);
    // Grows by Resize(i + 1) when i is not below count, then stores.
    void SetAt(std::uint32_t i, QmPstMesh::ele* e);

    std::uint32_t GetCount() const { return count; }
    QmPstMesh::ele* GetAt(std::uint32_t i) const { return data[i]; }

private:
    // A zeroed buffer of n slots holding the first keep slots of the current one; the
    // current one is freed unless borrowed.
    void reallocate(std::uint32_t n, std::uint32_t keep);
};

#include "mesh/qmEleArray.h"

#include <cstdlib>
#include <cstring>

namespace
{
// The growth sizes run 16, 32, 64, ... Past 2^31 doubling would wrap; n itself is then
// the only size that fits, and element counts never get there.
std::uint32_t GrowthCapacity(std::uint32_t n)
{
    std::uint32_t c = 16;
    while (c < n)
    {
        if (c >= 0x80000000u)
            return n;
        c *= 2;
    }
    return c;
}
} // namespace

qmEleArray::qmEleArray(std::uint32_t expected)
{
    Resize(expected);
    count = 0;
}

qmEleArray::~qmEleArray()
{
    if (!borrowed)
        std::free(data);
}

void qmEleArray::reallocate(std::uint32_t n, std::uint32_t keep)
{
    auto* fresh = static_cast<QmPstMesh::ele**>(std::calloc(n, sizeof(QmPstMesh::ele*)));
    if (keep > 0)
        std::memcpy(fresh, data, keep * sizeof(QmPstMesh::ele*));
    if (!borrowed)
        std::free(data);
    borrowed = false;
    data = fresh;
    capacity = n;
}

void qmEleArray::Resize(std::uint32_t n)
{
    if (n == 0)
    {
        if (!borrowed)
            std::free(data);
        data = nullptr;
        count = 0;
        capacity = 0;
        return;
    }
    if (data == nullptr || n > capacity)
        reallocate(GrowthCapacity(n), data == nullptr ? 0 : count);
    else if (n > count)
        std::memset(data + count, 0, (n - count) * sizeof(QmPstMesh::ele*));
    count = n;
}

void qmEleArray::SetCapacity(std::uint32_t n)
{
    if (n == capacity)
        return;
    if (count > n)
        count = n;
    if (n == 0)
    {
        if (!borrowed)
            std::free(data);
        data = nullptr;
        capacity = 0;
        return;
    }
    reallocate(n, count);
}

std::uint32_t qmEleArray::Push(QmPstMesh::ele* e)
{
    const std::uint32_t at = count;
    if (count == capacity)
        Resize(count + 1);
    else
        ++count;
    data[at] = e;
    return at;
}

void qmEleArray::SetAt(std::uint32_t i, QmPstMesh::ele* e)
{
    if (i >= count)
        Resize(i + 1);
    data[i] = e;
}

#pragma once

#include "build/QmStream.h"

#include <cstring>
#include <vector>

namespace qmtest
{
// A stream over bytes in memory. Writes append; reads go forward from the start.
// writeLimit makes a write fail once the total would pass it, to test failing disks.
class MemStream : public QmStream
{
public:
    std::vector<unsigned char> bytes;
    size_t readPos = 0;
    size_t writeLimit = static_cast<size_t>(-1);
    std::vector<long> writeSizes;
    std::vector<long> readSizes;

    MemStream() = default;
    explicit MemStream(std::vector<unsigned char> b) : bytes(std::move(b)) {}

    bool Write(void* data, long size) override
    {
        writeSizes.push_back(size);
        if (bytes.size() + static_cast<size_t>(size) > writeLimit)
            return false;
        auto const* p = static_cast<unsigned char const*>(data);
        bytes.insert(bytes.end(), p, p + size);
        return true;
    }

    bool Read(void* data, long size) override
    {
        readSizes.push_back(size);
        if (size < 0 || bytes.size() - readPos < static_cast<size_t>(size))
            return false;
        if (size > 0)
            std::memcpy(data, bytes.data() + readPos, static_cast<size_t>(size));
        readPos += static_cast<size_t>(size);
        return true;
    }
};
} // namespace qmtest

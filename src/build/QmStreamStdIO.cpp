#include "build/QmStreamStdIO.h"

#include "kernel/ZgUtf16.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace
{
// Loops over short transfers and interrupted calls: a regular file may still deliver a
// large request in pieces.
template <typename Op> long transferAll(Op op, char* p, long size)
{
    long done = 0;
    while (done < size)
    {
        const ssize_t n = op(p + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<long>(n);
    }
    return done;
}
} // namespace

bool QmStreamStdIO::New(char const* name)
{
    if (name == nullptr)
        return false;
    handle = ::open(name, O_RDWR | O_CREAT, 0600);
    return handle != -1;
}

bool QmStreamStdIO::New(unsigned short const* name)
{
    std::string utf8;
    if (!ZgUtf16ToUtf8(name, utf8))
        return false;
    return New(utf8.c_str());
}

bool QmStreamStdIO::Open(char const* name)
{
    if (name == nullptr)
        return false;
    handle = ::open(name, O_RDONLY);
    return handle != -1;
}

bool QmStreamStdIO::Open(unsigned short const* name)
{
    std::string utf8;
    if (!ZgUtf16ToUtf8(name, utf8))
        return false;
    return Open(utf8.c_str());
}

bool QmStreamStdIO::Close()
{
    ::close(handle);
    return true;
}

bool QmStreamStdIO::Write(void* data, long size)
{
    if (size < 0)
        return false;
    const int fd = handle;
    const long n = transferAll([fd](char* p, size_t k) { return ::write(fd, p, k); },
                               static_cast<char*>(data), size);
    return n == size;
}

bool QmStreamStdIO::Read(void* data, long size)
{
    if (size < 0)
        return false;
    const int fd = handle;
    const long n = transferAll([fd](char* p, size_t k) { return ::read(fd, p, k); },
                               static_cast<char*>(data), size);
    return n == size;
}

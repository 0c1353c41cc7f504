#pragma once

#include "build/QmStream.h"
#include "shell/QmExport.h"

#include <cstdint>

// A stream on a file descriptor of the unbuffered POSIX calls. Copying copies the
// descriptor: both objects then share one open file, and one Close ends it.
class QM_API QmStreamStdIO : public QmStream
{
public:
    QmStreamStdIO() = default;
    QmStreamStdIO(QmStreamStdIO const&) = default;
    QmStreamStdIO& operator=(QmStreamStdIO const&) = default;
    ~QmStreamStdIO() = default;

    // Opens for reading and writing, creating the file (mode 0600) if missing. No
    // truncation: a shorter new content leaves the old tail in place.
    bool New(char const* name);
    bool New(unsigned short const* name);
    // Opens an existing file read only.
    bool Open(char const* name);
    bool Open(unsigned short const* name);
    // Always true. Only after a successful New or Open.
    bool Close();

    bool Write(void* data, long size) override;
    bool Read(void* data, long size) override;

private:
    std::int32_t handle = -1;
};

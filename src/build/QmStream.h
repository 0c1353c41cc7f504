#pragma once

#include "shell/QmExport.h"

// An abstract byte stream. Each call moves exactly size bytes or reports false.
class QM_API QmStream
{
public:
    virtual bool Write(void* data, long size) = 0;
    virtual bool Read(void* data, long size) = 0;

protected:
    QmStream() = default;
    QmStream(QmStream const&) = default;
    QmStream& operator=(QmStream const&) = default;
    // Not virtual: a stream is never deleted through this base.
    ~QmStream() = default;
};

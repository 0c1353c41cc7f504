#include "kernel/ZgRandom.h"

#include <cstdint>

namespace
{
std::uint32_t randState = 1;
}

int ZgRand()
{
    randState = randState * 214013u + 2531011u;
    return static_cast<int>((randState >> 16) & 0x7fffu);
}

void ZgSrand(unsigned int seed) { randState = seed; }

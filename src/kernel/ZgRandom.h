#pragma once

// The library's private random source: one process-wide 15-bit linear congruential
// sequence (state = state * 214013 + 2531011; value = (state >> 16) & 0x7fff), seeded 1
// at start. It never touches the C runtime's own sequence, so a host's rand() and ours
// do not disturb each other. Not exported.

// Next value, 0 to 32767.
int ZgRand();
void ZgSrand(unsigned int seed);

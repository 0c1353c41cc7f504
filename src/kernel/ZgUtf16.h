#pragma once

#include <string>

// Converts a null-terminated UTF-16 name (the unsigned short units of the wide file
// functions) to UTF-8 for the POSIX calls. false for a null name: it stays null, and
// the caller fails as an open of nothing would. Unpaired surrogates become U+FFFD.
// Not exported.
bool ZgUtf16ToUtf8(unsigned short const* name, std::string& utf8);

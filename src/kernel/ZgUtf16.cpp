#include "kernel/ZgUtf16.h"

namespace
{
void appendUtf8(std::string& out, unsigned int cp)
{
    if (cp < 0x80)
        out += static_cast<char>(cp);
    else if (cp < 0x800)
    {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    else if (cp < 0x10000)
    {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

bool isHighSurrogate(unsigned int u) { return u >= 0xD800 && u <= 0xDBFF; }

bool isLowSurrogate(unsigned int u) { return u >= 0xDC00 && u <= 0xDFFF; }
} // namespace

bool ZgUtf16ToUtf8(unsigned short const* name, std::string& utf8)
{
    utf8.clear();
    if (name == nullptr)
        return false;
    for (unsigned short const* p = name; *p != 0; ++p)
    {
        const unsigned int u = *p;
        if (isHighSurrogate(u) && isLowSurrogate(p[1]))
        {
            appendUtf8(utf8, 0x10000 + ((u - 0xD800) << 10) + (p[1] - 0xDC00u));
            ++p;
        }
        else if (isHighSurrogate(u) || isLowSurrogate(u))
            appendUtf8(utf8, 0xFFFD);
        else
            appendUtf8(utf8, u);
    }
    return true;
}

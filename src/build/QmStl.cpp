#include "build/QmStl.h"

#include "build/QmAlgHelperMeshBuilder.h"
#include "kernel/ZgTolerance.h"
#include "kernel/ZgUtf16.h"
#include "kernel/ZgVector3.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace
{
constexpr char headerText[] = "Tarnvelquorium generated SLA File";
constexpr char headerSolid[] = "SOLID Tarnvelquorium generated SLA File";
constexpr std::size_t headerBytes = 80;
constexpr std::size_t recordBytes = 50;
// Faces (written or made) between two calls of cancel and progress.
constexpr long checkEvery = 100;
// Detection reads this many bytes twice into one buffer and searches what the second
// read left there, short of the last byte.
constexpr std::size_t probeBytes = 255;
// fgets limits: the reader's line buffers, so a longer line arrives in pieces.
constexpr int firstLineBytes = 1024;
constexpr int facetLineBytes = 255;
// Larger than stdio's default: fewer system calls on the records of a big file.
constexpr std::size_t streamBuffer = std::size_t(1) << 16;

void putUint32(unsigned char* p, std::uint32_t u)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(u >> (8 * i));
}

void putFloat32(unsigned char* p, float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    putUint32(p, u);
}

float getFloat32(unsigned char const* p)
{
    std::uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
        u |= static_cast<std::uint32_t>(p[i]) << (8 * i);
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

// A face as it goes to the file: the normal and the corners narrowed to float.
struct Facet
{
    float n[3];
    float v[3][3];
};

// The normal is not checked: a face of no area divides zero by zero and writes NaN.
Facet facetOf(QmPstMesh::face const* f)
{
    const ZgVector3 p0(f->v[0]->coo[0], f->v[0]->coo[1], f->v[0]->coo[2]);
    const ZgVector3 p1(f->v[1]->coo[0], f->v[1]->coo[1], f->v[1]->coo[2]);
    const ZgVector3 p2(f->v[2]->coo[0], f->v[2]->coo[1], f->v[2]->coo[2]);
    const ZgVector3 c = ZgCross(p1 - p0, p2 - p0);
    const ZgVector3 n = c / c.Length();
    Facet out;
    for (int i = 0; i < 3; ++i)
    {
        out.n[i] = static_cast<float>(n[i]);
        for (int k = 0; k < 3; ++k)
            out.v[k][i] = static_cast<float>(f->v[k]->coo[i]);
    }
    return out;
}

void writeRecord(std::FILE* file, Facet const& f)
{
    unsigned char rec[recordBytes] = {};
    putFloat32(rec, f.n[0]);
    putFloat32(rec + 4, f.n[1]);
    putFloat32(rec + 8, f.n[2]);
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 3; ++i)
            putFloat32(rec + 12 + 12 * k + 4 * i, f.v[k][i]);
    std::fwrite(rec, 1, recordBytes, file);
}

void writeTextBlock(std::FILE* file, Facet const& f)
{
    std::fprintf(file, " FACET NORMAL %.6g %.6g %.6g\r\n  OUTER LOOP\r\n", double(f.n[0]),
                 double(f.n[1]), double(f.n[2]));
    for (int k = 0; k < 3; ++k)
        std::fprintf(file, "   VERTEX %.6g %.6g %.6g\r\n", double(f.v[k][0]), double(f.v[k][1]),
                     double(f.v[k][2]));
    std::fputs("  ENDLOOP\r\n ENDFACET\r\n", file);
}

void writeHeader(std::FILE* file, bool binaryRecords, long nbFace)
{
    char header[headerBytes + 1] = {};
    if (binaryRecords)
    {
        std::snprintf(header, sizeof header, "%80s", headerSolid);
        std::fwrite(header, 1, headerBytes, file);
        return;
    }
    std::memcpy(header, headerText, sizeof headerText);
    std::fwrite(header, 1, headerBytes, file);
    unsigned char count[4];
    putUint32(count, static_cast<std::uint32_t>(static_cast<std::int32_t>(nbFace)));
    std::fwrite(count, 1, 4, file);
}

// A cancelled write leaves no file.
bool abandonWrite(std::FILE* file, char const* fileName)
{
    std::fclose(file);
    std::remove(fileName);
    return false;
}

// Opens for reading only what can be read to an end: a directory opens under POSIX but
// never reaches end-of-file, and a device or pipe may never end or seek.
std::FILE* openRegular(char const* fileName)
{
    std::FILE* file = std::fopen(fileName, "rb");
    if (file == nullptr)
        return nullptr;
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode))
    {
        std::fclose(file);
        return nullptr;
    }
    std::setvbuf(file, nullptr, _IOFBF, streamBuffer);
    return file;
}

// Reads up to n bytes into buf; a short read shows in the end-of-file flag.
void readUpTo(std::FILE* file, void* buf, std::size_t n)
{
    const std::size_t got = std::fread(buf, 1, n, file);
    static_cast<void>(got);
}

// Text when "FACET", in any letter case, stands in what the second of two reads of 255
// bytes left in the buffer, up to its first zero byte and short of index 254. A file
// shorter than 510 bytes is thus judged partly on its first bytes, and an empty one is
// binary.
bool isText(std::FILE* file)
{
    char probe[probeBytes] = {};
    readUpTo(file, probe, probeBytes);
    readUpTo(file, probe, probeBytes);
    probe[probeBytes - 1] = '\0';
    for (char* p = probe; *p != '\0'; ++p)
        if (*p >= 'a' && *p <= 'z')
            *p = static_cast<char>(*p - 'a' + 'A');
    return std::strstr(probe, "FACET") != nullptr;
}

bool startsNumber(char const* token)
{
    const char c = token[0];
    return std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.';
}

// Tokens split on single spaces, as strtok makes them. The words before the first token
// that starts like a number are not looked at; that token and the next two are x, y, z,
// and a missing one reads as 0. false, with (0, 0, 0), when no token starts a number.
bool parseTriple(char* line, ZgVector3& out)
{
    out = ZgVector3();
    char* save = nullptr;
    char* token = strtok_r(line, " ", &save);
    while (token != nullptr && !startsNumber(token))
        token = strtok_r(nullptr, " ", &save);
    if (token == nullptr)
        return false;
    out.x = std::atof(token);
    for (int i = 1; i < 3; ++i)
    {
        token = strtok_r(nullptr, " ", &save);
        if (token == nullptr)
            break;
        out[i] = std::atof(token);
    }
    return true;
}

// One line into line, as fgets reads it; a read at the end gives an empty line.
char* readLine(char* line, int size, std::FILE* file)
{
    if (std::fgets(line, size, file) == nullptr)
        line[0] = '\0';
    return line;
}

// One facet as the text layout expects it: seven lines whatever they hold, so a file that
// is out of step stays out of step. false when the first line holds no number.
bool readTextFacet(std::FILE* file, ZgVector3& n, ZgVector3* p)
{
    char line[facetLineBytes];
    const bool valid = parseTriple(readLine(line, facetLineBytes, file), n);
    readLine(line, facetLineBytes, file);
    for (int k = 0; k < 3; ++k)
        parseTriple(readLine(line, facetLineBytes, file), p[k]);
    readLine(line, facetLineBytes, file);
    readLine(line, facetLineBytes, file);
    return valid;
}

// One 48-byte record and its 2-byte attribute. false when the record is incomplete.
bool readBinaryFacet(std::FILE* file, ZgVector3& n, ZgVector3* p)
{
    unsigned char rec[recordBytes];
    const bool valid = std::fread(rec, recordBytes - 2, 1, file) == 1;
    unsigned char attr[2];
    readUpTo(file, attr, 2);
    if (!valid)
        return false;
    for (int i = 0; i < 3; ++i)
    {
        n[i] = getFloat32(rec + 4 * i);
        for (int k = 0; k < 3; ++k)
            p[k][i] = getFloat32(rec + 12 + 12 * k + 4 * i);
    }
    return true;
}

// A cross product within dZgZero of zero on every axis: the points are taken as collinear.
bool isDegenerate(ZgVector3 const& c)
{
    return ZgIsClose(c.x, 0.0) && ZgIsClose(c.y, 0.0) && ZgIsClose(c.z, 0.0);
}

bool readBody(std::FILE* file, QmPstMesh& mesh, bool (*cancel)(void), void (*progress)(float))
{
    const bool text = isText(file);
    std::fseek(file, 0, SEEK_END);
    const float size = static_cast<float>(ftello(file));
    std::fseek(file, 0, SEEK_SET);

    if (text)
    {
        char first[firstLineBytes];
        readLine(first, firstLineBytes, file);
    }
    else
    {
        unsigned char head[headerBytes + 4];
        readUpTo(file, head, headerBytes);
        readUpTo(file, head + headerBytes, 4);
    }

    QmAlgHelperMeshBuilder builder(mesh);
    if (cancel != nullptr && cancel())
        return false;
    if (progress != nullptr)
        progress(0.0f);

    long nbFacet = 0;
    // A read error ends the loop as the end of the file does.
    while (!std::feof(file) && !std::ferror(file))
    {
        ZgVector3 n;
        ZgVector3 p[3];
        const bool valid = text ? readTextFacet(file, n, p) : readBinaryFacet(file, n, p);
        if (valid)
        {
            ZgVector3 c = ZgCross(p[1] - p[0], p[2] - p[0]);
            if (isDegenerate(c))
                continue;
            c /= c.Length();
            if (ZgDot(c, n) < 0.0)
                std::swap(p[1], p[2]);
            // A braced list runs in order: V0, V1, V2 are welded, and made, in that order.
            QmPstMesh::vertex* const v[3] = {builder.FindOrCreateVertex(p[0]),
                                             builder.FindOrCreateVertex(p[1]),
                                             builder.FindOrCreateVertex(p[2])};
            // A facet made again is found, and still counts.
            if (v[0] != v[1] && v[1] != v[2] && v[0] != v[2])
            {
                builder.FindOrCreateFace(v, 0);
                ++nbFacet;
            }
        }
        if (nbFacet % checkEvery == 0)
        {
            const float at = static_cast<float>(ftello(file));
            if (cancel != nullptr && cancel())
                return false;
            if (progress != nullptr)
                progress(at / size);
        }
    }
    return true;
}
} // namespace

bool QmWriteStl(QmPstMesh const& mesh, char const* fileName, bool binaryRecords,
                bool (*cancel)(void), void (*progress)(float))
{
    if (fileName == nullptr)
        return false;
    std::FILE* file = std::fopen(fileName, "wb");
    if (file == nullptr)
        return false;
    std::setvbuf(file, nullptr, _IOFBF, streamBuffer);
    const long nbFace = mesh.GetNbFace();
    writeHeader(file, binaryRecords, nbFace);
    if (cancel != nullptr && cancel())
        return abandonWrite(file, fileName);
    if (progress != nullptr)
        progress(0.0f);

    long count = 0;
    for (auto it = mesh.GetColFace().Begin(); !it.IsEnd(); it.Next())
    {
        ++count;
        const Facet f = facetOf(it.Get());
        if (binaryRecords)
            writeRecord(file, f);
        else
            writeTextBlock(file, f);
        if (count % checkEvery == 0)
        {
            if (cancel != nullptr && cancel())
                return abandonWrite(file, fileName);
            if (progress != nullptr)
                progress(static_cast<float>(count) / static_cast<float>(nbFace));
        }
    }
    if (!binaryRecords)
        std::fputs("ENDSOLID\r\n", file);
    std::fclose(file);
    return true;
}

bool QmWriteStl(QmPstMesh const& mesh, char* fileName, bool binaryRecords, bool (*cancel)(void),
                void (*progress)(float))
{
    return QmWriteStl(mesh, static_cast<char const*>(fileName), binaryRecords, cancel, progress);
}

bool QmWriteStl(QmPstMesh const& mesh, unsigned short const* fileName, bool binaryRecords,
                bool (*cancel)(void), void (*progress)(float))
{
    std::string name;
    if (!ZgUtf16ToUtf8(fileName, name))
        return QmWriteStl(mesh, static_cast<char const*>(nullptr), binaryRecords, cancel, progress);
    return QmWriteStl(mesh, name.c_str(), binaryRecords, cancel, progress);
}

bool QmWriteStl(QmPstMesh const& mesh, unsigned short* fileName, bool binaryRecords,
                bool (*cancel)(void), void (*progress)(float))
{
    return QmWriteStl(mesh, static_cast<unsigned short const*>(fileName), binaryRecords, cancel,
                      progress);
}

bool QmReadStl(QmPstMesh& mesh, char const* fileName, bool (*cancel)(void), void (*progress)(float))
{
    if (fileName == nullptr)
        return false;
    std::FILE* file = openRegular(fileName);
    if (file == nullptr)
        return false;
    const bool ok = readBody(file, mesh, cancel, progress);
    std::fclose(file);
    return ok;
}

bool QmReadStl(QmPstMesh& mesh, char* fileName, bool (*cancel)(void), void (*progress)(float))
{
    return QmReadStl(mesh, static_cast<char const*>(fileName), cancel, progress);
}

bool QmReadStl(QmPstMesh& mesh, unsigned short const* fileName, bool (*cancel)(void),
               void (*progress)(float))
{
    std::string name;
    if (!ZgUtf16ToUtf8(fileName, name))
        return QmReadStl(mesh, static_cast<char const*>(nullptr), cancel, progress);
    return QmReadStl(mesh, name.c_str(), cancel, progress);
}

bool QmReadStl(QmPstMesh& mesh, unsigned short* fileName, bool (*cancel)(void),
               void (*progress)(float))
{
    return QmReadStl(mesh, static_cast<unsigned short const*>(fileName), cancel, progress);
}

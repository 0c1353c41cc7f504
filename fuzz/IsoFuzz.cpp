// Feeds arbitrary bytes to the ISO readers through a file. The first byte picks the reader:
// even for the contour reader, odd for the polyline reader. QMESH_ISO_READER=contours or
// =polylines in the environment pins one reader whatever the byte, for a run on one.
//
// Contour reader: the count never exceeds the number of lines, every counted slot holds a
// distinct mesh whose edges join two distinct vertices at z = 0 in group 0, and the slot
// after the last counted one holds what it held or null. The contours must then write, and
// the written file must read back as polylines. Polyline reader: true, edges of group 0
// on vertices of the mesh, and no more edges than lines.

#include "mesh/QmPstMesh.h"
#include "toolpath/QmIsoFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
std::string scratch(char const* suffix)
{
    return (std::filesystem::temp_directory_path() /
            ("qmisofuzz-" + std::to_string(getpid()) + suffix))
        .string();
}

// The scratch files, removed when the fuzzer exits.
struct Scratch
{
    std::string in = scratch(".in.iso");
    std::string out = scratch(".out.iso");
    ~Scratch()
    {
        std::remove(in.c_str());
        std::remove(out.c_str());
    }
};

void writeFile(std::string const& path, std::uint8_t const* data, std::size_t size)
{
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr)
        std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
}

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void checkEdges(QmPstMesh* mesh, bool planar)
{
    for (auto it = mesh->GetIterEdge(); !it.IsEnd(); it.Next())
    {
        QmPstMesh::edge* e = it.Get();
        check(e->grp == 0 && e->v[0]->mesh == mesh && e->v[1]->mesh == mesh);
        if (planar)
            check(e->v[0] != e->v[1] && e->v[0]->coo[2] == 0.0 && e->v[1]->coo[2] == 0.0);
    }
}

void readContours(std::string const& in, std::string const& out, std::size_t lines)
{
    QmPstMesh* const marker = reinterpret_cast<QmPstMesh*>(std::uintptr_t(0x5a50));
    std::vector<QmPstMesh*> slots(lines + 2, marker);
    long count = -1;
    Scharge_SuperPTM(in.c_str(), slots.data(), count);
    check(count >= 0 && static_cast<std::size_t>(count) <= lines);
    check(slots[count] == marker || slots[count] == nullptr);
    for (long i = 0; i < count; ++i)
    {
        check(slots[i] != nullptr && slots[i] != marker);
        check(std::count(slots.begin(), slots.begin() + count, slots[i]) == 1);
        checkEdges(slots[i], true);
    }

    Qmsauve_AllGcode_TestNext(out.c_str(), slots.data(), count, -1);
    QmPstMesh* back = QmPstMesh::CreateMesh();
    check(QmReadIso(*back, out.c_str()));
    long edges = 0;
    for (long i = 0; i < count; ++i)
        edges += slots[i]->GetNbEdge();
    check(back->GetNbEdge() <= edges);
    QmPstMesh::DestroyMesh(back);
    for (long i = 0; i < count; ++i)
        QmPstMesh::DestroyMesh(slots[i]);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    static const Scratch files;
    writeFile(files.in, data + 1, size - 1);
    // Every line but the last ends in a newline, so this bounds the lines of the file.
    const std::size_t lines = 1 + std::count(data + 1, data + size, '\n');

    static char const* const pinned = std::getenv("QMESH_ISO_READER");
    bool contours = (data[0] & 1) == 0;
    if (pinned != nullptr)
        contours = std::string(pinned) == "contours";
    if (contours)
    {
        readContours(files.in, files.out, lines);
        return 0;
    }
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    check(QmReadIso(*mesh, files.in.c_str()));
    checkEdges(mesh, false);
    check(static_cast<std::size_t>(mesh->GetNbEdge()) <= lines);
    QmPstMesh::DestroyMesh(mesh);
    return 0;
}

// Feeds arbitrary bytes to the STL reader through a file. The first byte picks the path:
// 0 the bytes as they are; 1 a usual binary header before them; 2 a first line that puts
// "facet" inside the reader's probe window before them, so the text reader takes them.
// The second byte, when odd, makes cancel answer true at one of its first calls.
//
// A read returns false exactly when it was cancelled, reports progress from 0 to at most 1
// without going back, and leaves only faces on three distinct vertices. What it read must
// then write in both forms, the binary one to 80 + 50 bytes per face.

#include "build/QmStl.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
std::vector<float> progressSeen;
int cancelCalls = 0;
int cancelOnCall = 0;

bool onCancel() { return ++cancelCalls == cancelOnCall; }

void onProgress(float f) { progressSeen.push_back(f); }

std::string scratch(char const* suffix)
{
    return (std::filesystem::temp_directory_path() /
            ("qmstlfuzz-" + std::to_string(getpid()) + suffix))
        .string();
}

void writeFile(std::string const& path, std::string const& bytes)
{
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr)
        std::abort();
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

// The scratch files, removed when the fuzzer exits.
struct Scratch
{
    std::string in = scratch(".in.stl");
    std::string out = scratch(".out.stl");
    ~Scratch()
    {
        std::remove(in.c_str());
        std::remove(out.c_str());
    }
};

long fileSize(std::string const& path)
{
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    return ec ? -1 : static_cast<long>(size);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    static const Scratch files;
    std::string const& in = files.in;
    std::string const& out = files.out;

    std::string bytes;
    switch (data[0] % 3)
    {
    case 1:
        bytes = std::string(80, 'h') + std::string("\x10\0\0\0", 4);
        break;
    case 2:
        bytes = "solid " + std::string(250, 'x') + "\n";
        break;
    default:
        break;
    }
    bytes.append(reinterpret_cast<char const*>(data + 2), size - 2);
    writeFile(in, bytes);

    progressSeen.clear();
    cancelCalls = 0;
    cancelOnCall = (data[1] & 1) != 0 ? 1 + (data[1] >> 1) % 8 : 0;
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    const bool ok = QmReadStl(*mesh, in.c_str(), onCancel, onProgress);
    if (ok == (cancelOnCall != 0 && cancelCalls >= cancelOnCall))
        std::abort();
    if (!progressSeen.empty() && progressSeen.front() != 0.0f)
        std::abort();
    for (std::size_t i = 0; i < progressSeen.size(); ++i)
        if (!(progressSeen[i] >= 0.0f && progressSeen[i] <= 1.0f) ||
            (i > 0 && progressSeen[i] < progressSeen[i - 1]))
            std::abort();
    for (auto it = mesh->GetIterFace(); !it.IsEnd(); it.Next())
    {
        QmPstMesh::face* f = it.Get();
        if (f->v[0] == f->v[1] || f->v[1] == f->v[2] || f->v[0] == f->v[2] ||
            f->v[0]->mesh != mesh || f->v[1]->mesh != mesh || f->v[2]->mesh != mesh)
            std::abort();
    }

    if (!QmWriteStl(*mesh, out.c_str(), true, nullptr, nullptr) ||
        fileSize(out) != 80 + 50 * mesh->GetNbFace())
        std::abort();
    if (!QmWriteStl(*mesh, out.c_str(), false, nullptr, nullptr) || fileSize(out) < 94)
        std::abort();
    QmPstMesh::DestroyMesh(mesh);
    return 0;
}

// Feeds arbitrary bytes to the native-file reader through an in-memory stream. A file
// that loads must save to a file of the size its counts imply and load again to the
// same counts.

#include "build/QmAlgLoadSave.h"
#include "support/MemStream.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    qmtest::MemStream in(std::vector<unsigned char>(data, data + size));
    if (QmAlgLoadSave().Load(*mesh, in))
    {
        qmtest::MemStream out;
        if (!QmAlgLoadSave().Save(*mesh, out))
            std::abort();
        const long expected =
            16 + 24 * mesh->GetNbVertex() + 12 * mesh->GetNbEdge() + 16 * mesh->GetNbFace();
        if (static_cast<long>(out.bytes.size()) != expected)
            std::abort();
        QmPstMesh* again = QmPstMesh::CreateMesh();
        qmtest::MemStream back(out.bytes);
        if (!QmAlgLoadSave().Load(*again, back) || again->GetNbFace() != mesh->GetNbFace() ||
            again->GetNbEdge() != mesh->GetNbEdge() || again->GetNbVertex() != mesh->GetNbVertex())
            std::abort();
        QmPstMesh::DestroyMesh(again);
    }
    QmPstMesh::DestroyMesh(mesh);
    return 0;
}

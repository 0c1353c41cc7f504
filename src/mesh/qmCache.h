#pragma once

#include "shell/QmExport.h"

class QmPstMesh;

// The spatial cache of one mesh. Made by QmPstMesh::GetCache on first use and destroyed
// by every edit of the mesh. For now it records its mesh only; the trees of boxes it
// will hold are built lazily by the queries.
class QM_API qmCache
{
public:
    explicit qmCache(QmPstMesh const* owner) : mesh(owner) {}
    ~qmCache() = default;
    qmCache(qmCache const&) = delete;
    qmCache& operator=(qmCache const&) = delete;

    QmPstMesh const* GetMesh() const { return mesh; }

private:
    QmPstMesh const* mesh;
};

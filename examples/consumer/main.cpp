// Builds against an installed qmesh: a sphere, its counts, and the version.
#include <cstdio>
#include <qmesh.h>

int main()
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    QmAlgCreateMeshSolidStd().SphereIcosahedron(*mesh, 1.0, 2);
    std::printf("qmesh %s: %ld vertices, %ld faces\n", QmGetVersion(), mesh->GetNbVertex(),
                mesh->GetNbFace());
    const bool ok = mesh->GetNbVertex() == 42 && mesh->GetNbFace() == 80;
    QmPstMesh::DestroyMesh(mesh);
    return ok ? 0 : 1;
}

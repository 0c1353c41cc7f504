#pragma once

#include "mesh/QmAlgorithm.h"
#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// Adds triangulated standard solids to a mesh. Each call welds through a builder of its
// own at the default precision, so rings close by themselves, and never shares a vertex
// with what the mesh held before. Nothing is removed first. Angles are in radians.
// Closed solids are oriented outward.
class QM_API QmAlgCreateMeshSolidStd : public QmAlgorithm
{
public:
    // 20 * 4^(depth-1) faces in group 1, every vertex at radius. depth below 1 adds nothing.
    void SphereIcosahedron(QmPstMesh& mesh, double radius, long depth);
    // 2 nbMeridian (nbParallel - 1) faces in group 1, with a pole on each end of z.
    void Sphere(QmPstMesh& mesh, double radius, long nbMeridian, long nbParallel);
    // A truncated cone along z from 0 to height: bottom cap group 1 (none when
    // radiusBottom is 0.0), side group 2, top cap group 3 (none when radiusTop is 0.0).
    void Cylinder(QmPstMesh& mesh, double radiusBottom, double radiusTop, double height,
                  long nbAround, long nbHeight, long nbRadial);
    // Axis along z.
    void Torus(QmPstMesh& mesh, double radiusMajor, double radiusMinor, long nbMajor, long nbMinor);
    // Centred on the origin; sides in groups 1 (+z), 2 (-z), 3 (+x), 4 (-x), 5 (+y) and
    // 6 (-y), except that the second triangle of each cell of the -y side is in group 5.
    void Cube(QmPstMesh& mesh, double sizeX, double sizeY, double sizeZ, long nbX, long nbY,
              long nbZ);
};

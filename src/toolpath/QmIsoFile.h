#pragma once

#include "shell/QmExport.h"

class QmPstMesh;

// Contours in a small ISO G-code text: a header line, "G0" lines that start a contour,
// "G1" lines that feed to its next point, and "M6" after the last contour.

// Line emitters. file is an open FILE*, typed void const* so that this header needs no
// stream type; it stays the caller's. Each prints one line and does nothing else:
//   LSOM_Move3D    "G0 X%.5lf Y%.5lf Z%.5lf\n"
//   LSOM_LineTo3D  "G1 X%.5lf Y%.5lf Z%.5lf\n"
//   LSOM_Move      "G0 X%.15lf Y%.15lf\n"
//   LSOM_LineTo    "G1 X%.15lf Y%.15lf\n"
//   LSOM_PutH      "G2 X%lf Y%lf I%lf J%lf\n"  (clockwise arc, centre offsets I, J)
//   LSOM_PutT      "G3 X%lf Y%lf I%lf J%lf\n"  (counter-clockwise arc)
// The precisions differ on purpose: readers of the 2-D lines get the coordinates back to
// 15 decimals, the 3-D lines are meant for a machine.
QM_API void LSOM_Move3D(void const* file, double x, double y, double z);
QM_API void LSOM_LineTo3D(void const* file, double x, double y, double z);
QM_API void LSOM_Move(void const* file, double x, double y);
QM_API void LSOM_LineTo(void const* file, double x, double y);
QM_API void LSOM_PutH(void const* file, double x, double y, double i, double j);
QM_API void LSOM_PutT(void const* file, double x, double y, double i, double j);

// Writes "(Iso File)\n", then the contours of meshes[0] to meshes[count - 1] when which is
// negative, or of meshes[which] alone, then "M6\n". Nothing is written, and nothing
// reported, when the file cannot be opened.
//
// A contour starts at the first edge of the mesh's walk (the newest edge, not the chain's
// head): G0 to its first vertex, G1 to its second, then GetNbEdge - 1 times to the second
// vertex of the next edge by QmAlgNeib::AttrEdge::GetNextIde, in the 2-D forms (z is
// dropped). The walk ends early where a chain ends (no next edge, or an edge without the
// attribute). A closed chain thus comes back to its start; an open one written from its
// newest edge stops after that edge when the newest edge is the chain's tail.
// The links are the caller's when any edge of the mesh holds an AttrEdge. On a mesh where
// none does, they are built for the call and removed before it returns. A mesh without
// edges writes no line.
QM_API void Qmsauve_AllGcode_TestNext(char const* path, QmPstMesh** const meshes, long count,
                                      long which);
QM_API void Qmsauve_AllGcode_TestNext(char* path, QmPstMesh** const meshes, long count, long which);

// Reads planar contours, one new mesh per contour, stored from meshes[0]; count receives
// how many. The caller owns them (DestroyMesh) and sizes the array: one slot more than the
// number of contours may be written. When the file cannot be opened count is untouched.
//
// After the header line, a contour is a run of lines begun by any line (whatever its word)
// and continued by lines whose first word holds no "G0"; each gives a point "%s X%lf Y%lf".
// It counts only when a line holding "M6", or a following line whose word holds "G0",
// ends it: the contour open at the end of a file without M6 is dropped. That G0 line is
// consumed with its point, so every contour after the first lacks its first point, and a
// closed one comes back open without its first edge. A contour of one point makes no mesh
// (its slot is taken over by the next; a mesh left over at the end is destroyed and its
// slot set to null). An unparsable number keeps what the point's slot held before.
//
// Vertices lie at z = 0, welded by a QmAlgHelperMeshBuilder; edges are of group 0. A point
// is kept only at a corner, where the direction turns by more than one degree (exactly
// one is no corner; a repeated point is none). A contour is closed when its last point
// equals its first exactly: its first vertex is then its first point if that is a corner,
// else its second point, and the last edge returns to it. The first contour keeps the
// file's direction; every later one, taken for an island, is reversed.
QM_API void Scharge_SuperPTM(char const* path, QmPstMesh** const meshes, long& count);
QM_API void Scharge_SuperPTM(char* path, QmPstMesh** const meshes, long& count);

// Adds the file's polylines to mesh, in space. After the header line: lines holding "M6"
// are skipped; a line holding "G0" reads "G0 X%lf Y%lf Z%lf" and starts a chain with a new
// vertex; a line holding "G1" reads "G1 X%lf Y%lf Z%lf" and adds an edge of group 0 from
// the previous vertex to a new vertex, or to the chain's first vertex when the point
// equals the chain's first point exactly in x, y and z. A G1 before any G0 starts a chain
// as a G0 would. Other lines are skipped. A number that does not parse keeps the value
// last read (0 at first), so files of 2-D lines read with z = 0. Chains never share
// vertices. false only when the file cannot be opened (a directory counts as such), or
// for a null path; wide paths are UTF-16.
QM_API bool QmReadIso(QmPstMesh& mesh, char const* path);
QM_API bool QmReadIso(QmPstMesh& mesh, char* path);
QM_API bool QmReadIso(QmPstMesh& mesh, unsigned short const* path);
QM_API bool QmReadIso(QmPstMesh& mesh, unsigned short* path);

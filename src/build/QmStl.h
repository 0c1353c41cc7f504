#pragma once

#include "mesh/QmPstMesh.h"
#include "shell/QmExport.h"

// STL files: a triangle mesh to and from disk, in one pass each, little-endian.
//
// cancel and progress may each be null. cancel returns true to stop; progress receives
// a fraction, 0 first. Wide names are UTF-16 and are converted to UTF-8; a null name, like
// one that cannot be opened, makes the call return false. The forms taking a non-const
// name are the same functions.
//
// The writer's header and body are of opposite kinds, and callers rely on that pairing:
// - binaryRecords true: "SOLID Tarnvelquorium generated SLA File" right-justified in 80
//   bytes of text, no triangle count, then per face a 50-byte record: normal, first,
//   second, third vertex as float32 triples and a zero uint16.
// - binaryRecords false: "Tarnvelquorium generated SLA File" zero-padded to 80 bytes, the
//   face count as int32, then per face a text block in upper case with CRLF line ends and
//   "%.6g" numbers, and "ENDSOLID\r\n" last.
// Faces go in the mesh's walk order. The normal is the normalised cross product of the
// edges from the first vertex, unchecked: a degenerate face writes NaN. Every 100 faces
// cancel and then progress (faces written / face count) are called. false when the file
// cannot be opened or on cancel, which removes the file; write errors are not detected.
QM_API bool QmWriteStl(QmPstMesh const& mesh, char const* fileName, bool binaryRecords,
                       bool (*cancel)(void), void (*progress)(float));
QM_API bool QmWriteStl(QmPstMesh const& mesh, char* fileName, bool binaryRecords,
                       bool (*cancel)(void), void (*progress)(float));
QM_API bool QmWriteStl(QmPstMesh const& mesh, unsigned short const* fileName, bool binaryRecords,
                       bool (*cancel)(void), void (*progress)(float));
QM_API bool QmWriteStl(QmPstMesh const& mesh, unsigned short* fileName, bool binaryRecords,
                       bool (*cancel)(void), void (*progress)(float));

// Adds the file's triangles to the mesh through a builder of its own at the default
// precision: nothing is removed first and nothing welds to what the mesh held.
//
// The reader expects the common layouts, which are not the writer's: binary as an 80-byte
// header, an int32 count (ignored: records are read to the end) and 50-byte records; text
// as one first line, then seven lines per facet (normal, outer loop, three vertices, end
// loop, end facet). Text is told from binary by the letters "facet", in any case, in the
// file's bytes 255 to 508 only (a shorter file also shows what its first 255 bytes left in
// the probe). So this library's own text file reads one line out of step and gives no
// face (unless a byte of its face count is a line feed, which ends the first line early
// and puts the facets after the first back in step), and its binary file reads four bytes
// out of step.
//
// A facet whose cross product lies within dZgZero of zero on every axis is dropped.
// Otherwise its second and third vertices are exchanged when the file's normal opposes
// the winding, and it counts when its corners weld to three distinct vertices: a face is
// then made, or found for a facet read before. cancel, then progress with 0, come before
// the first facet; after each facet that is not dropped, and at the end of the file, both
// come again (progress with file position / size) while the count is a multiple of 100,
// 0 included. false only when the file cannot be opened (a directory or other non-regular
// file counts as such) or on cancel, which keeps what was read; a corrupt body gives true
// with whatever triangles it held.
QM_API bool QmReadStl(QmPstMesh& mesh, char const* fileName, bool (*cancel)(void),
                      void (*progress)(float));
QM_API bool QmReadStl(QmPstMesh& mesh, char* fileName, bool (*cancel)(void),
                      void (*progress)(float));
QM_API bool QmReadStl(QmPstMesh& mesh, unsigned short const* fileName, bool (*cancel)(void),
                      void (*progress)(float));
QM_API bool QmReadStl(QmPstMesh& mesh, unsigned short* fileName, bool (*cancel)(void),
                      void (*progress)(float));

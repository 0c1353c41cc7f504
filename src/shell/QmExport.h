#pragma once

// Symbols are hidden by default; QM_API marks what the shared library exports.
// QMESH_BUILDING is defined while the library's own files compile.
#if defined(_WIN32)
#if defined(QMESH_BUILDING)
#define QM_API __declspec(dllexport)
#else
#define QM_API __declspec(dllimport)
#endif
#else
#define QM_API __attribute__((visibility("default")))
#endif

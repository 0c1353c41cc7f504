#pragma once

#include "kernel/ZgVector2.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmCol.h"
#include "mesh/QmCtrAttribut.h"
#include "shell/QmExport.h"

#include <cstdint>

class qmCache;

// A soup of vertices, edges and triangular faces. Edges and faces know their vertices;
// a vertex knows only how many edge and face slots name it. Nothing stores adjacency:
// algorithms derive it as attributes. Faces and edges are independent (adding a face
// makes no edge). Element pointers are identities, valid until the element is removed.
//
// Every edit of geometry or structure drops the spatial cache first; the next GetCache
// makes a new one. Walks run newest element first.
class QM_API QmPstMesh
{
public:
    enum TypeEle
    {
        typeVertex = 1,
        typeEdge = 2,
        typeFace = 4,
        typeEle = 8
    };

    // Base of the element records. The links belong to the element's collection, which
    // sets them; constructors and the destructor leave them alone. The destructor is not
    // virtual and frees no memory: it ends the element's attributes.
    class QM_API ele
    {
    public:
        ele* next;
        ele* prev;
        QmPstMesh* mesh = nullptr;
        QmCtrAttribut attributes;

        ele() {}
        ele(ele const&) = delete;
        ele& operator=(ele const&) = delete;
        virtual int GetType() const { return typeEle; }
    };

    class QM_API vertex final : public ele
    {
    public:
        double coo[3] = {0.0, 0.0, 0.0};
        // Edge and face slots naming this vertex: an edge from the vertex to itself
        // counts twice.
        std::int32_t refs = 0;

        int GetType() const override { return typeVertex; }
    };

    class QM_API edge final : public ele
    {
    public:
        vertex* v[2] = {nullptr, nullptr};
        long grp = 0;

        int GetType() const override { return typeEdge; }
    };

    class QM_API face final : public ele
    {
    public:
        vertex* v[3] = {nullptr, nullptr, nullptr};
        long grp = 0;

        int GetType() const override { return typeFace; }
    };

    // A walk over one collection; wraps a QmCol position and adds nothing. To remove
    // while walking: read the current element, advance, then remove what was read.
    template <typename P, typename I> class iter
    {
    public:
        explicit iter(I at) : it(at) {}
        bool IsEnd() const { return it.IsEnd(); }
        P Get() const { return it.Get(); }
        void Next() { it.Next(); }

    private:
        I it;
    };

    using iterVertex = iter<vertex*, QmCol<vertex>::Iter>;
    using iterEdge = iter<edge*, QmCol<edge>::Iter>;
    using iterFace = iter<face*, QmCol<face>::Iter>;

    static QmPstMesh* CreateMesh();
    // null does nothing.
    static void DestroyMesh(QmPstMesh* mesh);

    // Shares the collections and the attribute ring of other: a real copy is QmAlgClone's.
    QmPstMesh& operator=(QmPstMesh const& other) = default;

    // Adding stores what it is given: no lookup, no check, no deduplication.
    vertex* AddVertex(ZgVector3 const& coo);
    edge* AddEdge(vertex* const* v, long grp);
    face* AddFace(vertex* const* v, long grp);

    // Removal never cascades. RemoveVertex returns false, changing nothing, while the
    // vertex is in use (refs > 0); the others always return true.
    bool RemoveFace(face* f);
    bool RemoveEdge(edge* e);
    bool RemoveVertex(vertex* v);
    // Faces, then edges, then vertices; keeps the mesh's own attributes, tolerance and
    // cache flag, and returns every block of memory.
    void RemoveAll();

    long GetNbVertex() const { return vertices->GetCount(); }
    long GetNbEdge() const { return edges->GetCount(); }
    long GetNbFace() const { return faces->GetCount(); }
    iterVertex GetIterVertex() { return iterVertex(vertices->Begin()); }
    iterEdge GetIterEdge() { return iterEdge(edges->Begin()); }
    iterFace GetIterFace() { return iterFace(faces->Begin()); }

    void GetVertexCoo(vertex* const v, ZgVector3& coo) const;
    // x and y; z is dropped.
    void GetVertexCoo(vertex* const v, ZgVector2& coo) const;
    void SetVertexCoo(vertex* v, ZgVector3 const& coo);
    void GetEdgeVertex(edge* const e, vertex** const v) const;
    long GetEdgeGrp(edge* const e) const;
    void SetEdgeGrp(edge* e, long grp);
    // Exchanges the two vertices.
    void SwapEdge(edge* e);
    void GetFaceVertex(face* const f, vertex** const v) const;
    long GetFaceGrp(face* const f) const;
    void SetFaceGrp(face* f, long grp);
    // Exchanges the first and second vertex, reversing the orientation.
    void SwapFace(face* f);

    QmAttribut* GetMeshAttr(long classId);
    void AddMeshAttr(QmAttribut* attr, bool first);
    void RemoveMeshAttr(QmAttribut* attr);
    void RemoveMeshAllAttr();
    QmAttribut* GetEleAttr(ele* const e, long classId);
    // Both return at once on a null attribute.
    void AddEleAttr(ele* const e, QmAttribut* attr, bool first);
    void RemoveEleAttr(ele* const e, QmAttribut* attr);
    void RemoveEleAllAttr(ele* const e);

    // A value kept for the algorithms; the mesh never reads it.
    double GetTolerance() const { return tolerance; }
    void SetTolerance(double t) { tolerance = t; }

    // null while the cache is not active; otherwise made on first use.
    qmCache* GetCache() const;
    void InvalidCache() const;
    // Whether a cache exists now, without making one.
    bool HasCache() const { return cache != nullptr; }
    void ActivateCache(bool active);

    // Collections, for tests and memory reports.
    QmCol<vertex> const& GetColVertex() const { return *vertices; }
    QmCol<edge> const& GetColEdge() const { return *edges; }
    QmCol<face> const& GetColFace() const { return *faces; }

protected:
    QmPstMesh();
    ~QmPstMesh();
    QmPstMesh(QmPstMesh const&) = delete;

    // Drops the cache: the first step of every edit.
    void modify() { InvalidCache(); }
    // Hooks for argument checks; they check nothing.
    void checkV(vertex*) const {}
    void checkE(edge*) const {}
    void checkF(face*) const {}
    void checkEle(ele*) const {}

private:
    QmCtrAttribut attributes;
    QmCol<vertex>* vertices;
    QmCol<edge>* edges;
    QmCol<face>* faces;
    mutable qmCache* cache = nullptr;
    bool cacheActive = true;
    double tolerance = 0.0;
};

#include "build/QmAlgHelperMeshBuilder.h"

#include "kernel/ZgTolerance.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <utility>

namespace
{
// A vertex key keeps the precision that stood when it was made: the order below reads
// only the left operand's, so a stored key is compared with its own precision while the
// tree is descended, and the search key with the current one. The precision comes first,
// next to x, which decides most comparisons.
struct VertexKey
{
    double keyPrec;
    double coo[3];
};

// a before b, coordinate after coordinate; two values within keyPrec + dZgZero of each
// other (inclusive) fall through to the next coordinate, and equal keys fall through all.
struct VertexKeyLess
{
    bool operator()(VertexKey const& a, VertexKey const& b) const
    {
        const double d = a.keyPrec;
        const double z = dZgZero;
        for (int i = 0; i < 3; ++i)
        {
            if (a.coo[i] + d < b.coo[i] - z)
                return true;
            if (a.coo[i] - d > b.coo[i] + z)
                return false;
        }
        return false;
    }
};

// Vertices of an edge or a face, sorted by address as unsigned numbers, so that every
// order of the same vertices is one key. Compared lexicographically.
struct EdgeKey
{
    std::uintptr_t v[2];
};

struct FaceKey
{
    std::uintptr_t v[3];
};

struct EdgeKeyLess
{
    bool operator()(EdgeKey const& a, EdgeKey const& b) const
    {
        return a.v[0] != b.v[0] ? a.v[0] < b.v[0] : a.v[1] < b.v[1];
    }
};

struct FaceKeyLess
{
    bool operator()(FaceKey const& a, FaceKey const& b) const
    {
        if (a.v[0] != b.v[0])
            return a.v[0] < b.v[0];
        return a.v[1] != b.v[1] ? a.v[1] < b.v[1] : a.v[2] < b.v[2];
    }
};

bool operator==(EdgeKey const& a, EdgeKey const& b) { return a.v[0] == b.v[0] && a.v[1] == b.v[1]; }

bool operator==(FaceKey const& a, FaceKey const& b)
{
    return a.v[0] == b.v[0] && a.v[1] == b.v[1] && a.v[2] == b.v[2];
}

std::uintptr_t address(QmPstMesh::vertex* v) { return reinterpret_cast<std::uintptr_t>(v); }

EdgeKey edgeKey(QmPstMesh::vertex* const* v)
{
    const std::uintptr_t a = address(v[0]);
    const std::uintptr_t b = address(v[1]);
    return a < b ? EdgeKey{{a, b}} : EdgeKey{{b, a}};
}

// Three compare-exchanges sort three values.
FaceKey faceKey(QmPstMesh::vertex* const* v)
{
    std::uintptr_t a = address(v[0]);
    std::uintptr_t b = address(v[1]);
    std::uintptr_t c = address(v[2]);
    if (b < a)
        std::swap(a, b);
    if (c < b)
        std::swap(b, c);
    if (b < a)
        std::swap(a, b);
    return FaceKey{{a, b, c}};
}

// Bump allocation for the nodes of one index. The indexes only grow and are dropped
// whole, so a node is never returned on its own and blocks are freed together when the
// arena ends: no allocator call per node, no allocator header between nodes, and the
// nodes of one tree packed together rather than among the mesh's element blocks.
class NodeArena
{
public:
    NodeArena() = default;
    NodeArena(NodeArena const&) = delete;
    NodeArena& operator=(NodeArena const&) = delete;
    ~NodeArena()
    {
        while (blocks != nullptr)
        {
            Block* older = blocks->older;
            ::operator delete(blocks);
            blocks = older;
        }
    }

    void* Allocate(std::size_t bytes, std::size_t align)
    {
        std::uintptr_t at = (reinterpret_cast<std::uintptr_t>(cur) + align - 1) & ~(align - 1);
        if (cur == nullptr || at + bytes > reinterpret_cast<std::uintptr_t>(end))
        {
            grow(bytes + align);
            at = (reinterpret_cast<std::uintptr_t>(cur) + align - 1) & ~(align - 1);
        }
        cur = reinterpret_cast<char*>(at + bytes);
        return reinterpret_cast<void*>(at);
    }

private:
    struct Block
    {
        Block* older;
    };

    // Blocks double from 4 KiB to 4 MiB: a builder of a few vertices costs little, and a
    // big one asks the system for memory a few dozen times.
    static constexpr std::size_t blockFirst = 4096;
    static constexpr std::size_t blockMax = std::size_t(4) << 20;

    void grow(std::size_t atLeast)
    {
        std::size_t size = nextSize;
        while (size < atLeast + sizeof(Block))
            size *= 2;
        nextSize = size < blockMax ? 2 * size : blockMax;
        auto* b = static_cast<Block*>(::operator new(size));
        b->older = blocks;
        blocks = b;
        cur = reinterpret_cast<char*>(b + 1);
        end = reinterpret_cast<char*>(b) + size;
    }

    Block* blocks = nullptr;
    char* cur = nullptr;
    char* end = nullptr;
    std::size_t nextSize = blockFirst;
};

template <typename T> class ArenaAllocator
{
public:
    using value_type = T;

    explicit ArenaAllocator(NodeArena& a) noexcept : arena(&a) {}
    template <typename U>
    ArenaAllocator(ArenaAllocator<U> const& other) noexcept : arena(other.GetArena())
    {
    }

    T* allocate(std::size_t n)
    {
        return static_cast<T*>(arena->Allocate(n * sizeof(T), alignof(T)));
    }
    // Memory goes back with the arena.
    void deallocate(T*, std::size_t) noexcept {}

    NodeArena* GetArena() const { return arena; }

    template <typename U> bool operator==(ArenaAllocator<U> const& o) const
    {
        return arena == o.GetArena();
    }
    template <typename U> bool operator!=(ArenaAllocator<U> const& o) const
    {
        return arena != o.GetArena();
    }

private:
    NodeArena* arena;
};

template <typename K, typename V, typename Less>
using ArenaMap = std::map<K, V, Less, ArenaAllocator<std::pair<K const, V>>>;

// Makes a map whose header lives in the arena with its nodes. It is never destroyed: keys
// and values are trivially destructible and deallocation is a no-op, so ~map would only
// walk every node to free nothing. Ending the arena ends the map's storage.
template <typename Map> Map* makeMap(NodeArena& arena)
{
    void* at = arena.Allocate(sizeof(Map), alignof(Map));
    return new (at) Map(typename Map::key_compare(), typename Map::allocator_type(arena));
}

using VertexMap = ArenaMap<VertexKey, QmPstMesh::vertex*, VertexKeyLess>;
using EdgeMap = ArenaMap<EdgeKey, QmPstMesh::edge*, EdgeKeyLess>;
using FaceMap = ArenaMap<FaceKey, QmPstMesh::face*, FaceKeyLess>;
} // namespace

// One arena per map, so that each tree's nodes stay together. The arenas are declared
// first: they end last, after nothing else refers to them.
struct QmAlgHelperMeshBuilder::Index
{
    NodeArena vertexArena;
    NodeArena edgeArena;
    NodeArena faceArena;
    VertexMap& vertices = *makeMap<VertexMap>(vertexArena);
    EdgeMap& edges = *makeMap<EdgeMap>(edgeArena);
    FaceMap& faces = *makeMap<FaceMap>(faceArena);

    // Vertex lookups that succeeded since the last insertion into the vertex index. While
    // the tree is unchanged, the same key (coordinates and precision, compared as values)
    // descends the same path to the same answer, so giving that answer again is exact. An
    // insertion may rotate the tree and forgets them all. In a triangle soup a third of the
    // corners repeat one of the last few found.
    struct RecentFind
    {
        VertexKey key;
        vertex* v;
    };
    static constexpr int nbRecentMax = 4;
    RecentFind recent[nbRecentMax];
    int nbRecent = 0;
    int nextRecent = 0;

    vertex* FindRecent(VertexKey const& key) const
    {
        for (int i = 0; i < nbRecent; ++i)
        {
            VertexKey const& k = recent[i].key;
            if (k.coo[0] == key.coo[0] && k.coo[1] == key.coo[1] && k.coo[2] == key.coo[2] &&
                k.keyPrec == key.keyPrec)
                return recent[i].v;
        }
        return nullptr;
    }

    void AddRecent(VertexKey const& key, vertex* v)
    {
        recent[nextRecent] = RecentFind{key, v};
        nextRecent = (nextRecent + 1) % nbRecentMax;
        if (nbRecent < nbRecentMax)
            ++nbRecent;
    }

    void ForgetRecent()
    {
        nbRecent = 0;
        nextRecent = 0;
    }

    // The lower bound, then the search key against it with the current precision; null
    // when the key comes before it.
    vertex* Find(VertexKey const& key)
    {
        if (vertex* v = FindRecent(key))
            return v;
        auto bound = vertices.lower_bound(key);
        if (bound == vertices.end() || VertexKeyLess()(key, bound->first))
            return nullptr;
        AddRecent(key, bound->second);
        return bound->second;
    }
};

QmAlgHelperMeshBuilder::QmAlgHelperMeshBuilder(QmPstMesh& m) : mesh(&m), index(new Index) {}

QmAlgHelperMeshBuilder::~QmAlgHelperMeshBuilder() { delete index; }

void QmAlgHelperMeshBuilder::SetPrecCoo(double p) { precDelta = p - ZgGetZero(); }

double QmAlgHelperMeshBuilder::GetPrecCoo() { return ZgGetZero() + precDelta; }

QmPstMesh::vertex* QmAlgHelperMeshBuilder::CreateVertex(ZgVector3 const& coo)
{
    vertex* v = mesh->AddVertex(coo);
    // insert, not emplace: the position is found before a node is taken, so a key the
    // index already holds costs no arena memory.
    index->vertices.insert(VertexMap::value_type(VertexKey{precDelta, {coo.x, coo.y, coo.z}}, v));
    index->ForgetRecent();
    return v;
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::CreateVertex(double x, double y, double z)
{
    return CreateVertex(ZgVector3(x, y, z));
}

// The lower bound descends with the stored key on the left, so with its own precision;
// the last test puts the search key on the left, with the current precision.
QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindVertex(ZgVector3 const& coo)
{
    return index->Find(VertexKey{precDelta, {coo.x, coo.y, coo.z}});
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindVertex(double x, double y, double z)
{
    return FindVertex(ZgVector3(x, y, z));
}

// The insertion descends again rather than starting from the lower bound: the order is
// not antisymmetric once keys of different precisions meet (a before b by x with a's
// precision, b before a by y with b's), and an insertion at a hint re-tests the side
// against the hint's neighbour, which may then disagree with the position the hint was
// checked for and attach the node over a subtree. A full descent attaches the node where
// its own last test led, whatever the order. The path is the one just walked, so the
// second descent is cheap.
QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindOrCreateVertex(ZgVector3 const& coo)
{
    if (vertex* found = index->Find(VertexKey{precDelta, {coo.x, coo.y, coo.z}}))
        return found;
    return CreateVertex(coo);
}

QmPstMesh::vertex* QmAlgHelperMeshBuilder::FindOrCreateVertex(double x, double y, double z)
{
    return FindOrCreateVertex(ZgVector3(x, y, z));
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::CreateEdge(vertex* const* v, long grp)
{
    if (v[0] == v[1])
        return nullptr;
    edge* e = mesh->AddEdge(v, grp);
    index->edges.insert(EdgeMap::value_type(edgeKey(v), e));
    return e;
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::CreateEdge(vertex* a, vertex* b, long grp)
{
    vertex* const v[2] = {a, b};
    return CreateEdge(v, grp);
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindEdge(vertex* const* v)
{
    auto it = index->edges.find(edgeKey(v));
    return it == index->edges.end() ? nullptr : it->second;
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindEdge(vertex* a, vertex* b)
{
    vertex* const v[2] = {a, b};
    return FindEdge(v);
}

// A degenerate pair is never indexed, so its lookup fails and CreateEdge refuses it: the
// single descent below gives the same answers as FindEdge then CreateEdge.
QmPstMesh::edge* QmAlgHelperMeshBuilder::FindOrCreateEdge(vertex* const* v, long grp)
{
    const EdgeKey key = edgeKey(v);
    EdgeMap& map = index->edges;
    auto it = map.lower_bound(key);
    if (it != map.end() && it->first == key)
        return it->second;
    if (v[0] == v[1])
        return nullptr;
    edge* e = mesh->AddEdge(v, grp);
    map.insert(it, EdgeMap::value_type(key, e));
    return e;
}

QmPstMesh::edge* QmAlgHelperMeshBuilder::FindOrCreateEdge(vertex* a, vertex* b, long grp)
{
    vertex* const v[2] = {a, b};
    return FindOrCreateEdge(v, grp);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::CreateFace(vertex* const* v, long grp)
{
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2])
        return nullptr;
    face* f = mesh->AddFace(v, grp);
    index->faces.insert(FaceMap::value_type(faceKey(v), f));
    return f;
}

QmPstMesh::face* QmAlgHelperMeshBuilder::CreateFace(vertex* a, vertex* b, vertex* c, long grp)
{
    vertex* const v[3] = {a, b, c};
    return CreateFace(v, grp);
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindFace(vertex* const* v)
{
    auto it = index->faces.find(faceKey(v));
    return it == index->faces.end() ? nullptr : it->second;
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindFace(vertex* a, vertex* b, vertex* c)
{
    vertex* const v[3] = {a, b, c};
    return FindFace(v);
}

// One descent, as for edges.
QmPstMesh::face* QmAlgHelperMeshBuilder::FindOrCreateFace(vertex* const* v, long grp)
{
    const FaceKey key = faceKey(v);
    FaceMap& map = index->faces;
    auto it = map.lower_bound(key);
    if (it != map.end() && it->first == key)
        return it->second;
    if (v[0] == v[1] || v[1] == v[2] || v[0] == v[2])
        return nullptr;
    face* f = mesh->AddFace(v, grp);
    map.insert(it, FaceMap::value_type(key, f));
    return f;
}

QmPstMesh::face* QmAlgHelperMeshBuilder::FindOrCreateFace(vertex* a, vertex* b, vertex* c, long grp)
{
    vertex* const v[3] = {a, b, c};
    return FindOrCreateFace(v, grp);
}

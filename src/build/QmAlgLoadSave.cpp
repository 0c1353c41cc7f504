#include "build/QmAlgLoadSave.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

long QmAlgLoadSave::AttrVertex::classId = 0;

QmCallbackList QmAlgLoadSave::CblSaveMeshBegin;
QmCallbackList QmAlgLoadSave::CblSaveMeshEnd;
QmCallbackList QmAlgLoadSave::CblLoadMeshBegin;
QmCallbackList QmAlgLoadSave::CblLoadMeshEnd;

namespace
{
constexpr std::int32_t magicNative = 1000;

// Fields are written one by one in little-endian order, whatever the host's order.
void putInt32(unsigned char* p, std::int32_t v)
{
    const auto u = static_cast<std::uint32_t>(v);
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(u >> (8 * i));
}

std::int32_t getInt32(unsigned char const* p)
{
    std::uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
        u |= static_cast<std::uint32_t>(p[i]) << (8 * i);
    return static_cast<std::int32_t>(u);
}

void putFloat64(unsigned char* p, double d)
{
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<unsigned char>(u >> (8 * i));
}

double getFloat64(unsigned char const* p)
{
    std::uint64_t u = 0;
    for (int i = 0; i < 8; ++i)
        u |= static_cast<std::uint64_t>(p[i]) << (8 * i);
    double d;
    std::memcpy(&d, &u, sizeof d);
    return d;
}

bool writeInt32s(QmStream& s, std::int32_t const* v, int n)
{
    unsigned char buf[16];
    for (int i = 0; i < n; ++i)
        putInt32(buf + 4 * i, v[i]);
    return s.Write(buf, 4L * n);
}

bool readInt32s(QmStream& s, std::int32_t* v, int n)
{
    unsigned char buf[16];
    if (!s.Read(buf, 4L * n))
        return false;
    for (int i = 0; i < n; ++i)
        v[i] = getInt32(buf + 4 * i);
    return true;
}

long vertexNumber(QmPstMesh& mesh, QmPstMesh::vertex* v)
{
    QmAttribut* a = mesh.GetEleAttr(v, QmAlgLoadSave::AttrVertex::GetClassId());
    return a == nullptr ? -1 : static_cast<QmAlgLoadSave::AttrVertex*>(a)->num;
}

// Writes the vertex numbers of an edge or a face, then its group, in the units of the
// format: the numbers in one call, the group in another.
template <int N>
bool writeElement(QmPstMesh& mesh, QmStream& s, QmPstMesh::vertex* const* v, long grp)
{
    std::int32_t nums[N];
    for (int i = 0; i < N; ++i)
    {
        const long num = vertexNumber(mesh, v[i]);
        if (num < 0)
            return false;
        nums[i] = static_cast<std::int32_t>(num);
    }
    const auto g = static_cast<std::int32_t>(grp);
    return writeInt32s(s, nums, N) && writeInt32s(s, &g, 1);
}
} // namespace

QmAlgLoadSave::~QmAlgLoadSave() { freeTable(); }

void QmAlgLoadSave::freeTable()
{
    delete[] vertexTable;
    vertexTable = nullptr;
}

bool QmAlgLoadSave::Save(QmPstMesh& m, QmStream& s)
{
    mesh = &m;
    stream = &s;
    CblSaveMeshBegin.Invoke(this);

    long num = 0;
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        auto* attr = new AttrVertex;
        attr->num = num++;
        m.AddEleAttr(it.Get(), attr, true);
    }

    const std::int32_t head[4] = {magicNative, static_cast<std::int32_t>(m.GetNbVertex()),
                                  static_cast<std::int32_t>(m.GetNbEdge()),
                                  static_cast<std::int32_t>(m.GetNbFace())};
    for (std::int32_t h : head)
        if (!writeInt32s(s, &h, 1))
            return false;

    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
    {
        unsigned char buf[24];
        for (int i = 0; i < 3; ++i)
            putFloat64(buf + 8 * i, it.Get()->coo[i]);
        if (!s.Write(buf, 24))
            return false;
    }
    for (auto it = m.GetIterEdge(); !it.IsEnd(); it.Next())
        if (!writeElement<2>(m, s, it.Get()->v, it.Get()->grp))
            return false;
    for (auto it = m.GetIterFace(); !it.IsEnd(); it.Next())
        if (!writeElement<3>(m, s, it.Get()->v, it.Get()->grp))
            return false;

    CblSaveMeshEnd.Invoke(this);
    QmAttribut::RemoveAttrV(&m, AttrVertex::GetClassId());
    return true;
}

bool QmAlgLoadSave::Load(QmPstMesh& m, QmStream& s)
{
    mesh = &m;
    stream = &s;
    CblLoadMeshBegin.Invoke(this);
    m.RemoveAll();

    const bool ok = loadRecords();
    // The table is freed on every path: what was read stays in the mesh, nothing leaks.
    freeTable();
    if (!ok)
        return false;
    CblLoadMeshEnd.Invoke(this);
    return true;
}

bool QmAlgLoadSave::loadRecords()
{
    std::int32_t magic = 0;
    if (!readInt32s(*stream, &magic, 1) || magic != magicNative)
        return false;
    std::int32_t counts[3];
    for (std::int32_t& c : counts)
        if (!readInt32s(*stream, &c, 1))
            return false;
    const std::int32_t nbV = counts[0];
    const std::int32_t nbE = counts[1];
    const std::int32_t nbF = counts[2];
    if (nbV < 0 || nbE < 0 || nbF < 0)
        return false;

    // The table grows with the records actually read, so an absurd count in a short file
    // fails at its first missing record instead of allocating gigabytes up front.
    std::int64_t capacity = 0;
    for (std::int32_t i = 0; i < nbV; ++i)
    {
        unsigned char buf[24];
        if (!stream->Read(buf, 24))
            return false;
        if (i == capacity)
        {
            capacity = std::min<std::int64_t>(nbV, std::max<std::int64_t>(1024, capacity * 2));
            auto* table = new QmPstMesh::vertex*[capacity];
            if (i > 0)
                std::memcpy(table, vertexTable, sizeof(QmPstMesh::vertex*) * i);
            delete[] vertexTable;
            vertexTable = table;
        }
        vertexTable[i] =
            mesh->AddVertex(ZgVector3(getFloat64(buf), getFloat64(buf + 8), getFloat64(buf + 16)));
    }

    auto lookUp = [this, nbV](std::int32_t const* nums, int n, QmPstMesh::vertex** v)
    {
        for (int i = 0; i < n; ++i)
        {
            if (nums[i] < 0 || nums[i] >= nbV)
                return false;
            v[i] = vertexTable[nums[i]];
        }
        return true;
    };
    for (std::int32_t i = 0; i < nbE; ++i)
    {
        std::int32_t nums[2];
        std::int32_t grp;
        QmPstMesh::vertex* v[2];
        if (!readInt32s(*stream, nums, 2) || !readInt32s(*stream, &grp, 1) || !lookUp(nums, 2, v))
            return false;
        mesh->AddEdge(v, grp);
    }
    for (std::int32_t i = 0; i < nbF; ++i)
    {
        std::int32_t nums[3];
        std::int32_t grp;
        QmPstMesh::vertex* v[3];
        if (!readInt32s(*stream, nums, 3) || !readInt32s(*stream, &grp, 1) || !lookUp(nums, 3, v))
            return false;
        mesh->AddFace(v, grp);
    }
    return true;
}

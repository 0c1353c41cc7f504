#pragma once

#include "shell/QmExport.h"

#include <vector>

// A dense vector of run-time size.
class QM_API ZgVectorN
{
public:
    ZgVectorN() = default;
    explicit ZgVectorN(int n) : v(n > 0 ? n : 0, 0.0) {}

    int GetSize() const { return static_cast<int>(v.size()); }
    void SetSize(int n) { v.assign(n > 0 ? n : 0, 0.0); }
    double& operator[](int i) { return v[i]; }
    double operator[](int i) const { return v[i]; }

private:
    std::vector<double> v;
};

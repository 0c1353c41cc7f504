#include "shell/QmVersion.h"

char const* QmGetVersion() { return QMESH_VERSION_STRING; }

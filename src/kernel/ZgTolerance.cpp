#include "kernel/ZgTolerance.h"

const double dZgZero = 1e-6;
const double dZgZero2 = 1e-12;

double ZgGetZero() { return dZgZero; }

double ZgGetInfini() { return 1e300; }

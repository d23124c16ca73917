// Geodetic coordinates to local metres and back. A geodetic triple is [longitude (deg), latitude
// (deg), height (m)]; a local triple is [east, north, up] in metres from a reference point.
#pragma once

#include "ZuVDR.h"

struct glvs;

// enu = llh relative to ref. The reference height is scaled by pi/180 like the angles, so that the
// radii of curvature hardly see it; M2G undoes the same scaling.
ZUVDR_EXPORT void G2M(double* ref, double* llh, glvs& glv, double* enu);

// llh = ref + enu. Converts ref to radians in place, its height too: a caller that reuses ref
// passes a copy. llh[2] is the reference height plus enu[2] * 180/pi.
ZUVDR_EXPORT void M2G(double* ref, double* enu, glvs& glv, double* llh);

#include "nav/earth.h"

#include "nav/constants.h"

void GlvInit(glvs& glv) {
  glv.Re = 6378137;
  glv.f = 0.0033528131778969143;  // 1/298.257
  glv.wie = 7.2921151467e-05;
  glv.g0 = zuvdr::kGravity;
  glv.hur = 3600.0;
  glv.e = 0.08181922145552321;
  glv.e2 = 0.00669438499958795;
  glv.pi = zuvdr::kPi;
}

#include "kf/feedback.h"

#include <cstddef>

#include "kf/kf.h"
#include "nav/attitude.h"
#include "nav/ins.h"
#include "nav/mounting.h"

using zuvdr::kAccBias;
using zuvdr::kAttitude;
using zuvdr::kGyroBias;
using zuvdr::kPosition;
using zuvdr::kVelocity;

void zuvdr::rotate_attitude(INS& ins, const double phi[3]) {
  qdelphi(ins.qnb, phi);
  attsyn(ins.qnb, ins);
}

void zuvdr::rotate_mounting(INS& ins, const double phi[3]) {
  qdelphi(ins.install_qnb, phi);
  InstallAttsyn(ins.install_qnb, ins);
}

void zuvdr::add_gyro_bias(INS& ins, const double correction[3]) {
  for (std::size_t i = 0; i < 3; ++i) ins.eb[i] += correction[i];
}

void KfFeedback(INS& ins, KF& kf) {
  for (std::size_t i = 0; i < 3; ++i) {
    ins.vn[i] -= kf.X[kVelocity + i];
    ins.pos[i] -= kf.X[kPosition + i];
    ins.db[i] += kf.X[kAccBias + i];
  }
  zuvdr::add_gyro_bias(ins, kf.X + kGyroBias);
  zuvdr::rotate_attitude(ins, kf.X + kAttitude);
}

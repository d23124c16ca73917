// How the phone is mounted in the vehicle: the block of the navigator's record that relates both.
#pragma once

#include "ZuVDR.h"

struct INS;

// Stores q as ins.install_qnb and rebuilds ins.install_Cnb and, by ins.att_mode, ins.install_att,
// as attsyn (nav/attitude.h) does with the attitude. q may be ins.install_qnb itself.
ZUVDR_EXPORT void InstallAttsyn(const double q[4], INS& ins);

// Mounting block from the present pitch and roll, yaw 0; install_qnb is left alone. For hosts; the
// engine does not call it.
ZUVDR_EXPORT void InstallAngleInit(INS& ins);

namespace zuvdr {

// Cmount = install_Cnb Cnb^T: navigation frame to vehicle frame.
void update_mounting_matrix(INS& ins);

}  // namespace zuvdr

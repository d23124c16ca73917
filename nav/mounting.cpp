#include "nav/mounting.h"

#include <algorithm>

#include "nav/attitude.h"
#include "nav/fixed_matrix.h"
#include "nav/ins.h"

void zuvdr::update_mounting_matrix(INS& ins) {
  multiply_transposed<3, 3, 3>(ins.install_Cnb, ins.Cnb, ins.Cmount);
}

void InstallAttsyn(const double q[4], INS& ins) {
  if (q != ins.install_qnb) std::copy_n(q, 4, ins.install_qnb);
  zuvdr::quaternion_to_matrix(ins.install_qnb, ins.install_Cnb);
  zuvdr::matrix_to_euler(ins.install_Cnb, ins.att_mode, ins.install_att);
}

void InstallAngleInit(INS& ins) {
  ins.install_att[0] = ins.att[0];
  ins.install_att[1] = ins.att[1];
  ins.install_att[2] = 0.0;
  const double yaw_pitch_roll[3] = {0.0, ins.install_att[0], ins.install_att[1]};
  euler2rot_2(yaw_pitch_roll, ins.install_Cnb);
  zuvdr::update_mounting_matrix(ins);
}

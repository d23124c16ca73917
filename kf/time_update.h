// The time update of an epoch. Its two halves work in the blocks of the transition (phi; null: Phi
// has another form) or as full dense products. Both give the same values: sums run in the same
// order, and blocks that come out not finite are computed again with all their products, because
// zero times an infinity or a NaN is a NaN in the rows and columns that blocks leave out. So the
// record is that of the full products in every case, and what a broken value does to it does not
// depend on the form.
#pragma once

#include "kf/kf.h"
#include "kf/transition.h"

namespace zuvdr {

// kffk, QkUpdate and KfUpdate with the flag false in one, without looking at the form of Phi, which
// is known here. imu as for QkUpdate.
void time_update(INS& ins, KF& kf, const double* imu, double dt);

// Qk of a step of dt seconds; imu as for QkUpdate.
void update_process_noise(const INS& ins, KF& kf, const double* imu, double dt,
                          const Transition* phi);

// out (18 x 18, not in the record) = Phi P Phi^T.
void propagate_covariance(const KF& kf, const Transition* phi, double* out);

}  // namespace zuvdr

// Two small feed-forward networks that score the step detector's windows of band-passed samples.
// A score below its threshold (pdr/step_state_machine.h) means "looks like a step". Everything is
// float32 and unnormalised. The layers are static buffers: evaluations may not overlap.
#pragma once

#include "ZuVDR.h"

namespace zuvdr {

inline constexpr int kStepWindow = 18;      // samples, oldest first
inline constexpr int kStepWindowHead = 12;  // the oldest of them, a second input of its own

}  // namespace zuvdr

// Layers of the accelerometer network, overwritten by every evaluation.
ZUVDR_EXPORT extern float conv1d_1layer[16];  // over the window
ZUVDR_EXPORT extern float conv1d_2layer[10];  // over the head
ZUVDR_EXPORT extern float Dens_input[26];     // the two above, one after the other
ZUVDR_EXPORT extern float Dense1_layer[40];
ZUVDR_EXPORT extern float Dense2_layer[40];
ZUVDR_EXPORT extern float output[1];  // the score

// Layers of the gyroscope network.
ZUVDR_EXPORT extern float conv1d_Glayer[16];
ZUVDR_EXPORT extern float Dense1_Glayer[64];
ZUVDR_EXPORT extern float Dense2_Glayer[32];
ZUVDR_EXPORT extern float Dense3_Glayer[32];
ZUVDR_EXPORT extern float Goutput[1];  // the score

// Score 0 to 1 of the accelerometer windows (m/s^2): the 18 samples and a copy of the oldest 12. A
// NaN in a window clears the first dense layer: the score is that of the biases behind it, which is
// not that of a still sensor.
float accelerometer_step_score(const float window[zuvdr::kStepWindow],
                               const float head[zuvdr::kStepWindowHead]);

// Score 0 to 1 of the gyroscope window (rad/s, 18 samples); NaN when the window holds a NaN.
float gyroscope_step_score(const float window[zuvdr::kStepWindow]);

// The layers' storage, apart from the networks: a program that links these once more for itself
// works on the library's layers.
#include "pdr/step_networks.h"

float conv1d_1layer[16];
float conv1d_2layer[10];
float Dens_input[26];
float Dense1_layer[40];
float Dense2_layer[40];
float output[1];

float conv1d_Glayer[16];
float Dense1_Glayer[64];
float Dense2_Glayer[32];
float Dense3_Glayer[32];
float Goutput[1];

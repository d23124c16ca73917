// The trained weights of the two step networks (pdr/step_networks.h), generated into
// pdr/step_tables.cpp by scripts/make-step-tables.
//
// Dense tables are row-major, row = input, column = output: the weight from input i to output j of
// a layer with n outputs is element i * n + j. Element 0 of a kernel multiplies the oldest sample.
//
// The declarations here come first on purpose: a const array without one has internal linkage.
#pragma once

#include "ZuVDR.h"

// Accelerometer network.
ZUVDR_EXPORT extern const float FirConvnet[3];
ZUVDR_EXPORT extern const float FirConvnetBias[1];
ZUVDR_EXPORT extern const float SedConvnet[3];
ZUVDR_EXPORT extern const float SedConvnetBias[1];
ZUVDR_EXPORT extern const float Inputnet[26 * 40];
ZUVDR_EXPORT extern const float Inputnetbias[40];
ZUVDR_EXPORT extern const float Denesnet[40 * 40];
ZUVDR_EXPORT extern const float Denesnetbias[40];
ZUVDR_EXPORT extern const float Outputnet[40];
ZUVDR_EXPORT extern const float Outputnetbias[1];

// Gyroscope network.
ZUVDR_EXPORT extern const float GConvnet[3];
ZUVDR_EXPORT extern const float GConvnetBias[1];
ZUVDR_EXPORT extern const float GInputnet[16 * 64];
ZUVDR_EXPORT extern const float GInputnetBias[64];
ZUVDR_EXPORT extern const float GDensenet[64 * 32];
ZUVDR_EXPORT extern const float GDensenetBias[32];
ZUVDR_EXPORT extern const float GDensenet_2[32 * 32];
ZUVDR_EXPORT extern const float GDensenetBias_2[32];
ZUVDR_EXPORT extern const float GOutputnet[32];
ZUVDR_EXPORT extern const float GOutputnetBias[1];

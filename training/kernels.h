// LibTorch and OpenBLAS choose the code for sums and products by processor, and each choice sums in
// an order of its own. Training takes the same on every machine, so that it gives the same bytes
// wherever the libraries and the compiler are the same. (The C library chooses too, by FMA, without
// which nothing is pinned here.)
#pragma once

#include <string>

namespace zuvdr::training {

enum class Kernels {
  kAvx2,    // of processors with AVX2 and FMA
  kNative,  // those that the libraries choose for this processor
};

// Whether this processor has AVX2 and FMA.
bool has_avx2();

// Starts the running program again, once, unless these kernels are in use on one thread. The
// libraries make their choice when they are loaded, so nothing less will do. argv: of main. Throws
// std::runtime_error when the program cannot be started again, and for kAvx2 on a processor
// without, and where matrix products or vectors turn out to be computed otherwise.
void pin_kernels(Kernels kernels, char** argv);

// Such as "OpenBLAS 0.3.21 Haswell, LibTorch 1.13.0 AVX2".
std::string kernels_in_use();

}  // namespace zuvdr::training

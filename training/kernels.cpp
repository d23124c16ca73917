#include "training/kernels.h"

#include <ATen/Version.h>
#include <dlfcn.h>
#include <fmt/format.h>
#include <torch/version.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>

namespace zuvdr::training {
namespace {

struct Setting {
  const char* name;
  const char* value;
};
constexpr Setting kOneThread[] = {{"OPENBLAS_NUM_THREADS", "1"}, {"OMP_NUM_THREADS", "1"}};
constexpr Setting kAvx2[] = {{"OPENBLAS_CORETYPE", "Haswell"}, {"ATEN_CPU_CAPABILITY", "avx2"}};

// Returns whether they were in force already.
bool set_environment(std::span<const Setting> settings) {
  bool all = true;
  for (const auto& [name, value] : settings) {
    const char* now = std::getenv(name);
    all = all && now != nullptr && std::string_view(now) == value;
    setenv(name, value, 1);
  }
  return all;
}

// Of OpenBLAS, which has no header here; empty when another library computes the products.
std::string openblas(const char* question) {
  const auto answer = reinterpret_cast<char* (*)()>(dlsym(RTLD_DEFAULT, question));
  return answer != nullptr ? answer() : "";
}

std::string libtorch_vectors() {
  constexpr std::string_view kBefore = "CPU capability usage: ";
  const std::string configuration = at::show_config();
  const std::size_t found = configuration.find(kBefore);
  if (found == std::string::npos) return "unknown";
  const std::size_t begin = found + kBefore.size();
  return configuration.substr(begin, configuration.find('\n', begin) - begin);
}

}  // namespace

bool has_avx2() {
#ifdef __x86_64__
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}

void pin_kernels(Kernels kernels, char** argv) {
  constexpr const char* kElse = "; --native-kernels trains other tables with what is there";
  const bool avx2 = kernels == Kernels::kAvx2;
  if (avx2 && !has_avx2()) {
    throw std::runtime_error(fmt::format(
        "this processor has no AVX2 and FMA and cannot give the recorded tables{}", kElse));
  }
  bool in_force = set_environment(kOneThread);
  if (avx2) in_force = set_environment(kAvx2) && in_force;
  if (!in_force) {
    execv("/proc/self/exe", argv);
    throw std::runtime_error(fmt::format("cannot start again: {}", std::strerror(errno)));
  }
  if (avx2 && (openblas("openblas_get_corename") != "Haswell" || libtorch_vectors() != "AVX2")) {
    throw std::runtime_error(
        fmt::format("computes with {} instead of the pinned kernels{}", kernels_in_use(), kElse));
  }
}

std::string kernels_in_use() {
  std::string products = "an unknown BLAS";
  if (const std::string core = openblas("openblas_get_corename"); !core.empty()) {
    // "OpenBLAS VERSION OPTION..."
    const std::string configuration = openblas("openblas_get_config");
    const std::size_t version = configuration.find(' ') + 1;
    products = fmt::format(
        "OpenBLAS {} {}", configuration.substr(version, configuration.find(' ', version) - version),
        core);
  }
  return fmt::format("{}, LibTorch {} {}", products, TORCH_VERSION, libtorch_vectors());
}

}  // namespace zuvdr::training

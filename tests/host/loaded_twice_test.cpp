// Two copies of the library in one process: the second finds the engine of the first.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "ZuVDR.h"

namespace {

// The library under two names, loaded the way a process does that carries it twice. The functions
// of one copy are looked up through its own handle.
class LoadedCopy {
 public:
  explicit LoadedCopy(const std::string& name)
      : file_(std::filesystem::temp_directory_path() / (name + std::to_string(getpid()) + ".so")) {
    std::filesystem::copy_file(ZUVDR_LIBRARY, file_,
                               std::filesystem::copy_options::overwrite_existing);
    handle_ = dlopen(file_.c_str(), RTLD_NOW | RTLD_GLOBAL);
    std::filesystem::remove(file_);
  }

  explicit operator bool() const { return handle_ != nullptr; }

  template <typename Function>
  Function* function(Function* /*signature*/, const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle_, name));
  }

 private:
  std::filesystem::path file_;
  void* handle_ = nullptr;
};

#define FUNCTION_OF(copy, name) (copy).function(static_cast<decltype(&::name)>(nullptr), #name)

TEST(LoadedTwice, BothCopiesWorkOnOneEngine) {
  const LoadedCopy first("zuvdr_first");
  ASSERT_TRUE(first) << dlerror();
  const LoadedCopy second("zuvdr_second");
  ASSERT_TRUE(second) << dlerror();
  const auto locate = FUNCTION_OF(second, GetLocation);
  ASSERT_NE(FUNCTION_OF(first, GetLocation), locate) << "one file loaded, not two";

  FUNCTION_OF(first, Reset)();
  GpsData fix{};
  fix.time_ns = 1;
  fix.latitude = 36.25;
  fix.longitude = 116.5;
  FUNCTION_OF(first, SyncGPSEventforFusion)(&fix);
  FUNCTION_OF(first, UpdateLocationbyGPSEvent)(0);

  Location location{};
  locate(&location);
  EXPECT_EQ(location.latitude, 36.25);
  EXPECT_EQ(location.longitude, 116.5);

  FUNCTION_OF(second, Reset)();
  FUNCTION_OF(first, GetLocation)(&location);
  EXPECT_EQ(location.latitude, 0.0);
}

}  // namespace

// The loader's count of the library, which a host may load and unload at run time.
#include "../TestedLibrary.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <filesystem>

namespace VexaSsl::test {
namespace {

TEST(Unloading, libraryKeepsNoReferenceToItself) {
    // A copy, since other tests keep the library loaded.
    const std::filesystem::path copy =
        std::filesystem::path(VEXASSL_SCRATCH) / "unloaded-VexaSsl.so";
    std::filesystem::copy_file(testedLibrary(), copy,
                               std::filesystem::copy_options::overwrite_existing);
    void* library = dlopen(copy.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(dlclose(library), 0);
    EXPECT_EQ(dlopen(copy.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
    std::filesystem::remove(copy);
}

} // namespace
} // namespace VexaSsl::test

// The loaded library's life: loaded, used without a process, unloaded, over and over. This program is linked with
// neither of the libraries.
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

// NEC::NotifyNECreated(unsigned long)
constexpr const char* notifyNeCreated = "_ZN3NEC15NotifyNECreatedEm";

TEST(LoadedLibrary, IsLoadedUsedAndUnloadedAHundredTimes) {
    for (int round = 0; round < 100; ++round) {
        void* library = dlopen(NEC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        auto* notify = reinterpret_cast<void (*)(unsigned long)>(dlsym(library, notifyNeCreated));
        ASSERT_NE(notify, nullptr) << dlerror();
        notify(5);
        ASSERT_EQ(dlclose(library), 0) << dlerror();
    }
}

}  // namespace

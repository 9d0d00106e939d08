// The loaded library's life: loaded, used, unloaded, over and over. This program is linked with neither of the
// libraries.
#include <dlfcn.h>
#include <gtest/gtest.h>

// Descriptions of record classes live until the program ends. A library that comes again makes new ones; nothing points
// to the old ones then, which the leak checker takes for a leak.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier): the checker's name
    return "leak:refl::CClassInfor::InitClassInfor";
}

namespace {

// NEC::NotifyNECreated(unsigned long)
constexpr const char* notifyNeCreated = "_ZN3NEC15NotifyNECreatedEm";

// libnec alone is asked for. The platform beneath it stays: what it keeps for each thread is given back when the thread
// ends, by code that must be there then; and templates of the standard library that it instantiates hold objects that
// are one in the whole program, which the loader never takes away.
bool isLoaded() {
    void* library = dlopen(NEC_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    return library != nullptr && dlclose(library) == 0;
}

template <class Function>
Function* functionOf(void* library, const char* name) {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

TEST(LoadedLibrary, IsLoadedUsedAndUnloadedAHundredTimes) {
    for (int round = 0; round < 100; ++round) {
        void* library = dlopen(NEC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        auto* notify = functionOf<void(unsigned long)>(library, notifyNeCreated);
        ASSERT_NE(notify, nullptr) << dlerror();
        notify(5);
        EXPECT_TRUE(isLoaded());
        ASSERT_EQ(dlclose(library), 0) << dlerror();
        ASSERT_FALSE(isLoaded());
    }
}

TEST(LoadedLibrary, RunsAProcessEachTimeAPlugInBringsIt) {
    for (unsigned long round = 1; round <= 20; ++round) {
        void* plugIn = dlopen(ANNOUNCER, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(plugIn, nullptr) << dlerror();
        auto* announce = functionOf<unsigned long(unsigned long)>(plugIn, "announce");
        ASSERT_NE(announce, nullptr) << dlerror();
        EXPECT_EQ(announce(round), round);
        EXPECT_TRUE(isLoaded());
        ASSERT_EQ(dlclose(plugIn), 0) << dlerror();
        ASSERT_FALSE(isLoaded());
    }
}

}  // namespace

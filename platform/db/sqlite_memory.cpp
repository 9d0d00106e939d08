#include "db/sqlite_memory.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstring>

#include "platform/secure.h"

namespace frame {

namespace {

sqlite3_mem_methods standard;  // SQLite's own, which do the work

void wipingFree(void* block) {
    const auto size = static_cast<std::size_t>(standard.xSize(block));
    memset_s(block, size, 0, size);
    standard.xFree(block);
}

// Never in place: what moves would leave its old octets behind, unseen.
void* wipingRealloc(void* block, int size) {
    void* larger = standard.xMalloc(size);
    if (larger == nullptr) return nullptr;
    std::memcpy(larger, block, static_cast<std::size_t>(std::min(size, standard.xSize(block))));
    wipingFree(block);
    return larger;
}

// SQLite may stay in use after this library would be unloaded.
void stayLoaded() {
    Dl_info self{};
    if (dladdr(reinterpret_cast<void*>(&wipingFree), &self) != 0 && self.dli_fname != nullptr)
        dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

bool install() {
    if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &standard) != SQLITE_OK) return false;
    sqlite3_mem_methods wiping = standard;
    wiping.xFree = &wipingFree;
    wiping.xRealloc = &wipingRealloc;
    // Small blocks and pages come from the heap one by one, instead of from pools that connections keep.
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &wiping) != SQLITE_OK) return false;
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
    // Nobody asks how much there is; counting takes a lock at every block.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    stayLoaded();
    return true;
}

}  // namespace

bool wipeSqliteMemory() {
    static const bool installed = install();
    return installed;
}

}  // namespace frame

#include "db/sqlite_memory.h"

#include <dlfcn.h>
#include <link.h>
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

// SQLite may stay in use when this library would be unloaded. Programs, which have no name here, never are.
bool stayLoaded() {
    Dl_info self{};
    void* map = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&wipingFree), &self, &map, RTLD_DL_LINKMAP) == 0) return false;
    const char* name = static_cast<const link_map*>(map)->l_name;
    return *name == '\0' || dlopen(name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

bool install() {
    if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &standard) != SQLITE_OK || !stayLoaded()) return false;
    sqlite3_mem_methods wiping = standard;
    wiping.xFree = &wipingFree;
    wiping.xRealloc = &wipingRealloc;
    if (sqlite3_config(SQLITE_CONFIG_MALLOC, &wiping) != SQLITE_OK) return false;
    // Small blocks and pages come from the heap one by one, instead of from pools that connections keep.
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
    sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
    // Nobody asks how much there is; counting takes a lock at every block.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    return true;
}

}  // namespace

bool wipeSqliteMemory() {
    static const bool installed = install();
    return installed;
}

}  // namespace frame

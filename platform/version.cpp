// libnecplatform is made of the layers' objects; a shared library needs a source of its own.
#include "platform/export.h"

// The version of the platform, as the build states it.
extern "C" FRAME_API const char* frameVersion() {
    return FRAME_VERSION;
}

// Memory functions that check their bounds, and the wiping of passwords. From any thread; they never throw.
#pragma once

#include <cstddef>
#include <string>

#include "platform/export.h"

// Both return 0, or an errno value when what they are asked to do breaks a rule: EINVAL for a null pointer and for
// ranges that overlap, ERANGE for a size above half of what std::size_t holds and for a `count` above `dstSize`. A
// destination that can be told, not null and of no such size, is then written all the same, all `dstSize` octets of it.

// Copies `count` octets. After a broken rule the destination holds zeros.
FRAME_API int memcpy_s(void* dst, std::size_t dstSize, const void* src, std::size_t count);

// Sets `count` octets to `value`, as an unsigned char. After a broken rule all of the destination holds that value. The
// compiler never leaves it out, not even for memory that is released next.
FRAME_API int memset_s(void* dst, std::size_t dstSize, int value, std::size_t count);

namespace FrameUtil {

// Overwrites the text with zeros, also what is left of a longer one before it, and makes it empty. The compiler never
// leaves it out.
FRAME_API void ClearPasswd(std::string& password);

}  // namespace FrameUtil

// The one macro that marks what the platform's shared library offers; everything else in it is hidden.
#pragma once

#define FRAME_API __attribute__((visibility("default")))

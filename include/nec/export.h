// The one macro that marks what libnec offers; everything else in it is hidden.
#pragma once

#define NEC_API __attribute__((visibility("default")))

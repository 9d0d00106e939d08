// SOCI, as this project uses it.
#pragma once

#include <soci/soci-config.h>

// Debian's SOCI also offers conversions for types of Boost: a hundred megabytes of headers that nothing here needs.
// They are templates only, so that leaving them out changes no object.
#undef SOCI_HAVE_BOOST
#undef SOCI_HAVE_BOOST_DATE_TIME

#include <soci/soci.h>
